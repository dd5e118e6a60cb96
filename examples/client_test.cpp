// Two ways to test a client of your own. `withFakes` has no television: fakes replace the facade's access objects, and
// the test sends the notifications. `withATelevisionThatFails` uses the simulated television and its faults.

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

/// A list that is always connected and stores the written strings.
struct FakeList : NRXModelAccess::StringListAccess {
    using ValueAccessT::getValue, ValueAccessT::setValue;  // Keeps the overloads that this class does not override.
    int connect(int /*timeoutMs*/) override { return STATUS_OK; }
    int getValue(Strings& out) override { return out = list, STATUS_OK; }
    int setValue(Strings const& value) override { return list = value, STATUS_OK; }

    Strings list;
};

/// A string that is always connected.
struct FakeString : NRXModelAccess::StringAccess {
    using ValueAccessT::getValue;
    explicit FakeString(std::string value) : text(std::move(value)) {}
    int getValue(std::string& out) override { return out = text, STATUS_OK; }

    std::string text;
};

/// The client under test: plays the channel of a "play" command and writes an event.
struct Player final : NRXModelAccessClient {
    void onNRXCommandReceived(Strings const& command) override {
        if (command.size() != 2 || command[0] != "play") {  // A restarted television sends an empty list.
            return;
        }
        played.push_back(command[1]);
        service->setAccessValue(EVENT, {"playing", command[1]});
    }
    void onNRXEventReceived(Strings const& /*event*/) override {}

    INrxModelAccess* service = nullptr;
    Strings played;
};

/// A facade class of your own, which counts the received commands.
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

    // The facade sets no handler on injected lists. The bound operation is virtual, so a notification calls the
    // override in `CountingAccess`.
    command->setNewValueHandler(
        make_value_handler<INrxModelAccess>(&facade, &INrxModelAccess::onNRXCommandValueChanged));
    facade.start();
    facade.startCommandListener();

    // Each query reads its fake.
    assert(facade.getSoftwareVersion() == "7.2" && facade.getFeatureCode() == "F3A9");
    assert(facade.getModelname() == "OL-55-D");

    // This notification sends a command as the television does, through the observer interface.
    static_cast<objbus::ObserverVectorString&>(*command).notifyStringVector({"play", "channel 5"});
    assert(facade.commands == 1 && player.played == Strings{"channel 5"});
    assert((event->list == Strings{"playing", "channel 5"}));  // The client wrote this event.

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
    television.failConnects(EVENT, {42, false, 12});  // The next twelve attempts to connect the event list fail.
    facade.start();                                   // Logs a failure after ten attempts.
    facade.startCommandListener();

    // The client receives no failure. The client's first write of the event list connects the list.
    television.set(COMMAND, Strings{"play", "channel 5"});
    television.set(COMMAND, Strings{});
    television.waitUntilDelivered();
    assert(player.played == Strings{"channel 5"});
    assert(television.get(EVENT) == simulator::Value(Strings{"playing", "channel 5"}));

    // The caller of a failed read receives no failure, and the caller's variable is unchanged.
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
