// Testing a client of your own, in two ways. Without any television: fakes stand in the places of the facade's access
// objects, and what the television would publish is said by the test itself. And against the simulated television,
// which fails where it is told to.

#undef NDEBUG
#include <cassert>
#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/television.h"

namespace {

using namespace orvane;
using namespace orvane::system::support;
using Strings = std::vector<std::string>;

using model_keys::COMMAND, model_keys::EVENT;

/// A list that is always there, and remembers what is written to it.
struct FakeList : NRXModelAccess::StringListAccess {
    using ValueAccessT::getValue, ValueAccessT::setValue;  // The overloads that are not replaced here.
    int connect(int /*timeoutMs*/) override { return STATUS_OK; }
    int getValue(Strings& out) override { return out = list, STATUS_OK; }
    int setValue(Strings const& value) override { return list = value, STATUS_OK; }

    Strings list;
};

/// A text that is always there.
struct FakeString : NRXModelAccess::StringAccess {
    using ValueAccessT::getValue;
    explicit FakeString(std::string value) : text(std::move(value)) {}
    int getValue(std::string& out) override { return out = text, STATUS_OK; }

    std::string text;
};

/// The client under test: plays what it is told to, and reports.
struct Player final : NRXModelAccessClient {
    void onNRXCommandReceived(Strings const& command) override {
        if (command.size() != 2 || command[0] != "play") {  // Such as the empty list of a television that came back.
            return;
        }
        played.push_back(command[1]);
        service->setAccessValue(EVENT, {"playing", command[1]});
    }
    void onNRXEventReceived(Strings const& /*event*/) override {}

    INrxModelAccess* service = nullptr;
    Strings played;
};

/// A facade of one's own, which counts the commands on their way.
struct CountingAccess : NRXModelAccess {
    using NRXModelAccess::NRXModelAccess;
    void onNRXCommandValueChanged(IValueObject const& value) override {
        ++commands;
        NRXModelAccess::onNRXCommandValueChanged(value);
    }

    int commands = 0;
};

void withFakes() {
    auto const command = std::make_shared<FakeList>();
    auto const event = std::make_shared<FakeList>();
    Player player;
    CountingAccess facade(&player, command, event, std::make_shared<FakeString>("7.2"),
                          std::make_shared<FakeString>("F3A9"), std::make_shared<FakeString>("OL-55-D"));
    player.service = &facade;

    // The facade leaves the handlers of injected lists to their maker. Bound to the virtual operation of the interface,
    // they reach the facade's own.
    command->setNewValueHandler(
        make_value_handler<INrxModelAccess>(&facade, &INrxModelAccess::onNRXCommandValueChanged));
    facade.start();
    facade.startCommandListener();

    // The queries ask the fakes, each in its place.
    assert(facade.getSoftwareVersion() == "7.2" && facade.getFeatureCode() == "F3A9");
    assert(facade.getModelname() == "OL-55-D");

    // A command arrives as the television would send it, through the interface that the television knows.
    static_cast<objbus::ObserverVectorString&>(*command).notifyStringVector({"play", "channel 5"});
    assert(facade.commands == 1 && player.played == Strings{"channel 5"});
    assert((event->list == Strings{"playing", "channel 5"}));  // What the client reported.

    Strings reported;
    facade.getAccessValue(EVENT, reported);
    assert(reported == event->list && command->list.empty());
}

void withATelevisionThatFails() {
    simulator::Television television;
    Player player;
    NRXModelAccess facade(&player);
    player.service = &facade;
    television.publish(COMMAND, Strings{});
    television.publish(EVENT, Strings{});
    television.failConnects(EVENT, {42, false, 12});  // For twelve attempts the event list is not to be had.
    facade.start();                                   // Gives up after ten of them, and says so in the log.
    facade.startCommandListener();

    // The client is not told of that: its first report connects on demand, and gets through.
    television.set(COMMAND, Strings{"play", "channel 5"});
    television.set(COMMAND, Strings{});
    television.waitUntilDelivered();
    assert(player.played == Strings{"channel 5"});
    assert(television.get(EVENT) == simulator::Value(Strings{"playing", "channel 5"}));

    // Nor is it told that a read fails: its variable is left as it was.
    television.failReads(EVENT, {43});
    Strings reported{"unchanged"};
    facade.getAccessValue(EVENT, reported);
    assert(reported == Strings{"unchanged"});
}

}  // namespace

int main() {  // NOLINT(bugprone-exception-escape): an exception is a failure of the test.
    withFakes();
    withATelevisionThatFails();
}
