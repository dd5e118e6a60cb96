// What a web engine does with the facade: make it with a client, start it, listen, ask, and ask for the service.

#undef NDEBUG
#include <cassert>
#include <cstdio>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/television.h"

namespace {

namespace model_keys = orvane::model_keys;

/// Hears the service's lists, on the television's thread: an engine would post them to a thread of its own.
class Engine final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(std::vector<std::string> const& command) override { hear("command", command); }
    void onNRXEventReceived(std::vector<std::string> const& event) override { hear("event", event); }

    std::vector<std::string> heard;

private:
    void hear(std::string text, std::vector<std::string> const& list) {
        for (std::string const& word : list) {
            text += " " + word;
        }
        std::puts(text.c_str());
        heard.push_back(text);
    }
};

}  // namespace

int main() {
    // In place of a real television: the objects that the facade reaches for. The model outlives its clients.
    simulator::Television television;
    television.publish(model_keys::COMMAND, std::vector<std::string>{});
    television.publish(model_keys::EVENT, std::vector<std::string>{});
    television.publish(model_keys::SOFTWARE_VERSION, "7.2.114");
    television.publishAction(model_keys::SOURCE_SWITCH, {});

    Engine engine;  // Not owned by the facade, which is gone first.
    orvane::NRXModelAccess facade(&engine);
    facade.start();  // Connects the two lists, within a second each; what fails stands in the log.
    facade.startCommandListener();

    assert(facade.getSoftwareVersion() == "7.2.114");
    assert(facade.getModelname().empty());  // Not published here: asked for within a second, then given up.

    television.set(model_keys::COMMAND, std::vector<std::string>{"play", "channel 5"});
    television.set(model_keys::EVENT, std::vector<std::string>{"dropped: nobody listens"});
    television.waitUntilDelivered();

    // Lists are written and read by their key. The writer hears its own change.
    facade.startEventListener();
    facade.setAccessValue(model_keys::EVENT, {"volume", "20"});
    std::vector<std::string> event;
    facade.getAccessValue(model_keys::EVENT, event);
    television.waitUntilDelivered();
    assert((engine.heard == std::vector<std::string>{"command play channel 5", "event volume 20"}));
    assert((event == std::vector<std::string>{"volume", "20"}));

    facade.requestStartNRXService();  // Nothing comes back but a line in the log.
}
