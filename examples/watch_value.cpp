// Watching a value of the television's model with a handler of one's own, and what happens when the model fails.

#undef NDEBUG
#include <cassert>
#include <mutex>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "simulator/television.h"

namespace {

using namespace orvane::system::support;

/// Keeps what it hears. Its handler is called on the television's thread, while the caller's thread goes on.
class VolumeBar {
public:
    VolumeBar() : volume("audio.volume", make_value_handler(this, &VolumeBar::onVolumeChanged)) {}
    VolumeBar(VolumeBar const&) = delete;
    VolumeBar& operator=(VolumeBar const&) = delete;

    /// False when there is no such value on this television, or none that is an integer; the log says which.
    bool watch() { return volume.connect(200) == STATUS_OK; }

    std::vector<std::string> shown() {
        std::lock_guard<std::mutex> const lock(mutex);
        return levels;
    }

private:
    void onVolumeChanged(IValueObject const& value) {
        std::string const level = value;  // A value ends with the call: what is kept is copied or converted.
        std::lock_guard<std::mutex> const lock(mutex);
        levels.push_back(level);
    }

    std::mutex mutex;
    std::vector<std::string> levels;
    /// Last, so that it is gone before what its handler uses: nothing is heard after its destructor has returned.
    ValueAccessT<objbus::ObserverNumericInteger> volume;
};

}  // namespace

int main() {
    simulator::Television television;  // In place of a real one; it outlives its clients.

    {
        VolumeBar bar;
        assert(!bar.watch());  // Nothing is published yet: given up after 200 milliseconds.

        television.publish("audio.volume", "loud");
        assert(!bar.watch());  // Another kind of value: given up at once.

        television.publish("audio.volume", 20);
        television.failConnects("audio.volume", {42, false, 1});  // The model's status 42, once.
        assert(bar.watch());                                      // It asks again, and gets it.

        television.set("audio.volume", 21);
        television.set("audio.volume", 22);
        television.waitUntilDelivered();
        assert((bar.shown() == std::vector<std::string>{"21", "22"}));
    }
    television.set("audio.volume", 23);  // Nobody is there to hear it, and nobody is called.
    assert(television.registrations("audio.volume") == 0);
}
