// A web engine with the facade: construct, start and listen. The facade reports failures only in the log. To see the
// result of a read or a write, the program uses a `client::Property`.

#undef NDEBUG
#include <cassert>
#include <string>
#include <vector>

#include "client/property.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/television.h"

using namespace orvane;
using List = std::vector<std::string>;

/// Receives the lists of the service, on the delivery thread.
struct Engine final : NRXModelAccessClient {
    void onNRXCommandReceived(List const& command) override { commands.push_back(command); }
    void onNRXEventReceived(List const& /*event*/) override {}

    std::vector<List> commands;
};

int main() {
    simulator::Television television;  // Replaces a real television. Must outlive its clients.
    television.publish(model_keys::COMMAND, List{});
    television.publish(model_keys::EVENT, List{});

    Engine engine;  // Must outlive the facade.
    NRXModelAccess facade(&engine);
    facade.start();  // Connects the two lists, within a second each. Only the log reports a failure.
    facade.startCommandListener();
    television.set(model_keys::COMMAND, List{"play", "channel 5"});
    television.waitUntilDelivered();
    assert((engine.commands == std::vector<List>{{"play", "channel 5"}}));

    client::Property<List> event(model_keys::EVENT);
    auto const written = event.set({"volume", "20"});
    assert(written && *event.get() == (List{"volume", "20"}));

    client::Property<std::string> version(model_keys::SOFTWARE_VERSION);
    auto const text = version.get();  // The version is not published: the read fails after one second.
    assert(describe(text.error()) == "get torvi.sl2.str.orvfactory.software.version: status 5");

    facade.requestStartNRXService();  // Only the log reports the result.
}
