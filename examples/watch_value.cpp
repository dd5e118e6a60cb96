// A value of the television's data model: watch it, write it, and see what failed.

#undef NDEBUG
#include <cassert>
#include <chrono>
#include <vector>

#include "client/property.h"
#include "simulator/television.h"

int main() {  // NOLINT(bugprone-exception-escape): an exception is a failure of the test.
    using namespace std::chrono_literals;
    simulator::Television television;
    std::vector<int> levels;  // Must outlive the property, whose handler uses the levels.
    orvane::client::Property<int> volume("audio.volume");
    auto const append = [&levels](int level) { levels.push_back(level); };  // Runs on the delivery thread.

    assert(volume.connect(200ms).error().code == 5);  // The value is not published within 200 milliseconds.
    television.publish("audio.volume", "loud");
    assert(volume.watch(append).error().code == 6);  // The value has another type.

    television.publish("audio.volume", 20);
    assert(volume.watch(append));                   // The handler receives the current value first,
    television.set("audio.volume", 21);             // then the changes of the television
    assert(volume.set(22) && *volume.get() == 22);  // and the changes of this program.
    television.waitUntilDelivered();
    assert((levels == std::vector<int>{20, 21, 22}));

    television.withdraw("audio.volume");
    assert(volume.set(23).error().code == 106);  // The status is the television's own.
}
