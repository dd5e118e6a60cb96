// A web engine whose television is another process, on a message bus: nothing in it says so, only what it is linked
// with. Waits for a television, tells the service that it is there, and goes when it has heard that itself.

#include <chrono>
#include <cstdio>
#include <future>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"

namespace {

using namespace orvane::model_keys;
using namespace orvane::system::support;
using List = std::vector<std::string>;

List const READY{"engine", "ready"};

/// Waits for one event. A television that goes and comes back is found again without its doing.
class Engine final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(List const& /*command*/) override {}
    void onNRXEventReceived(List const& event) override {
        if (!isHeard && event == READY) {  // Others may say something, too.
            isHeard = true;
            ready.set_value();
        }
    }

    std::promise<void> ready;

private:
    bool isHeard = false;  // Used by the calls alone, which come one at a time.
};

int fail(char const* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main() {
    // The facade's own objects wait a second; a television that is started with this program may take longer.
    ValueAccessT<objbus::ObserverString> version(SOFTWARE_VERSION);
    std::string text;
    if (version.connect(60'000) != STATUS_OK || version.getValue(text) != STATUS_OK) {
        return fail("no television on the bus");
    }
    std::printf("a television with software %s\n", text.c_str());

    Engine engine;
    orvane::NRXModelAccess facade(&engine);
    facade.start();
    facade.startEventListener();
    facade.setAccessValue(EVENT, READY);
    auto const heard = engine.ready.get_future().wait_for(std::chrono::seconds(10));  // By way of the television.
    return heard == std::future_status::ready ? 0 : fail("the television does not tell its event");
}
