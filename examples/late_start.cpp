// A web engine that starts before its television. The engine starts the facade again when the television is reached.

#undef NDEBUG
#include <cassert>
#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/television.h"

namespace {

using namespace orvane;
using List = std::vector<std::string>;

struct Engine final : NRXModelAccessClient {
    void onNRXCommandReceived(List const& command) override { commands.push_back(command); }
    void onNRXEventReceived(List const& /*event*/) override {}

    std::vector<List> commands;
};

}  // namespace

int main() {
    Engine engine;
    NRXModelAccess facade(&engine);
    facade.startCommandListener();
    facade.start();  // Fails without a television: the log has status 5 for each list.

    // One thread at a time may use the facade. The listener runs on the television's thread and does not use the
    // facade. This thread waits for the listener. For a television on a bus, bus/bus_platform.h has
    // `setPresenceListener`.
    std::promise<void> reached;
    simulator::setPresenceListener([&reached, isReached = false](television::Presence presence) mutable {
        // A television that was lost and returns is `back`. The promise must be set only once.
        if (presence != television::Presence::gone && !std::exchange(isReached, true)) {
            reached.set_value();
        }
    });

    simulator::Television television;
    television.publish(model_keys::COMMAND, List{});
    television.publish(model_keys::EVENT, List{});
    assert(reached.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready);
    simulator::setPresenceListener({});  // No call of the listener runs after the return.
    facade.start();                      // Connects the lists. On a bus, a loss requires no further `start`.

    television.set(model_keys::COMMAND, List{"play", "channel 5"});
    television.waitUntilDelivered();
    assert((engine.commands == std::vector<List>{{"play", "channel 5"}}));
}
