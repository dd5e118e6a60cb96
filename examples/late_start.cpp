// A web engine that starts before its television: the facade is started again when the television is reached.

#undef NDEBUG
#include <cassert>
#include <chrono>
#include <future>
#include <string>
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
    facade.start();  // Too early: there is no television, and the log has the status 5 for each list.

    // The listener runs on the television's thread, and the facade takes one thread at a time: this thread waits for
    // the listener. With a television on a bus, these two names are in bus/bus_platform.h.
    std::promise<void> reached;
    simulator::setPresenceListener([&reached](television::Presence presence) {
        if (presence == television::Presence::reached) {  // At most once in a process.
            reached.set_value();
        }
    });

    simulator::Television television;
    television.publish(model_keys::COMMAND, List{});
    television.publish(model_keys::EVENT, List{});
    assert(reached.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready);
    simulator::setPresenceListener({});  // No call of the listener runs from here on.
    facade.start();                      // Connects the lists. They stay connected when the television returns later.

    television.set(model_keys::COMMAND, List{"play", "channel 5"});
    television.waitUntilDelivered();
    assert((engine.commands == std::vector<List>{{"play", "channel 5"}}));
}
