// A client whose television is another process, on a message bus. Only the linked platform library decides where the
// television is. The client waits for a television, sends an event, and ends when it has received its own event.

#include <chrono>
#include <cstdio>
#include <future>
#include <string>
#include <vector>

#include "client/property.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"

namespace {

using namespace orvane;
using namespace std::chrono_literals;
using List = std::vector<std::string>;

int fail(std::string const& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    return 1;
}

}  // namespace

int main() {
    client::Property<std::string> version(model_keys::SOFTWARE_VERSION);
    // A television that starts at the same time as this program may need some time before it can be reached.
    auto const connected = version.connect(60s);
    auto const text = version.get();
    if (!connected || !text) {
        return fail(describe(connected ? text.error() : connected.error()));
    }
    std::printf("a television with software %s\n", text->c_str());

    List const ready{"engine", "ready"};
    std::promise<void> isReady;
    client::Property<List> event(model_keys::EVENT);  // If the television is lost, the platform library reconnects.
    auto const watched = event.watch([&, isReceived = false](List const& list) mutable {
        if (!isReceived && list == ready) {  // Ignores the events of other programs.
            isReceived = true;
            isReady.set_value();
        }
    });
    auto const written = event.set(ready);
    if (!watched || !written) {
        return fail(describe(watched ? written.error() : watched.error()));
    }
    auto const received = isReady.get_future().wait_for(10s);  // The television also notifies the writer.
    return received == std::future_status::ready ? 0 : fail("the television does not send the event");
}
