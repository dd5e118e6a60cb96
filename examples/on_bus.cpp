// A web engine whose television is another process, on a message bus: nothing in it says so, only what it is linked
// with. Waits for a television, tells the service that it is there, and goes when it has heard that itself.

#include <cstdio>
#include <future>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"

namespace {

using List = std::vector<std::string>;

/// Waits for one event. A television that comes late, or again, is found without its doing.
class Engine final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(List const& /*command*/) override {}
    void onNRXEventReceived(List const& event) override {
        if (!isHeard) {
            isHeard = true;
            first.set_value(event);
        }
    }

    std::promise<List> first;

private:
    bool isHeard = false;  // Used by the calls alone, which come one at a time.
};

}  // namespace

int main() {
    Engine engine;
    orvane::NRXModelAccess facade(&engine);
    std::string version;
    for (int tries = 0; version.empty() && tries < 60; ++tries) {
        version = facade.getSoftwareVersion();  // Waits up to a second.
    }
    if (version.empty()) {
        std::fputs("no television on the bus\n", stderr);
        return 1;
    }
    std::printf("a television with software %s\n", version.c_str());

    facade.start();
    facade.startEventListener();
    facade.setAccessValue(orvane::model_keys::EVENT, {"engine", "there"});
    List const heard = engine.first.get_future().get();  // By way of the television.
    return heard == List{"engine", "there"} ? 0 : 1;
}
