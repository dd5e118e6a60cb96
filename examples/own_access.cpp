// Access classes of your own, for programs that need more than a handler. `Volume` limits the written value and keeps
// the loudest received value. `Recording` receives an action's replies without a handler.

#undef NDEBUG
#include <algorithm>
#include <atomic>
#include <cassert>
#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "simulator/television.h"

namespace {

using namespace orvane::system::support;

/// Disconnects the access object. Until the disconnect the television calls the overrides of the derived class, which
/// must not run after the derived class's destructor. Therefore this destructor calls this function. Catches every
/// exception, because a destructor must not throw.
template <typename Access>
void leave(Access& access) {
    try {
        access.isConnected() ? access.disconnect() : 0;
    } catch (...) {  // The disconnect failed. The television may continue to notify.
    }
}

/// The volume, which is never set above 100.
class Volume : public ValueAccessT<objbus::ObserverNumericInteger> {
public:
    using ValueAccessT::ValueAccessT;
    Volume(Volume const&) = delete;
    Volume& operator=(Volume const&) = delete;
    ~Volume() override { leave(*this); }

    using ValueAccessT::setValue;  // Keeps the overloads that this class does not override.
    int setValue(int level) override { return ValueAccessT::setValue(std::min(level, 100)); }

    /// Called on the television's thread, even if there is no handler (`onNewValue` is called only if there is a
    /// handler). Calls the base last, because the base calls the handler, which may destroy this object.
    using ValueAccessT::notifyNewValue;
    void notifyNewValue(int level) override {
        loudest = std::max(loudest.load(), level);
        ValueAccessT::notifyNewValue(level);
    }

    bool isConnected() const { return object != nullptr; }  // `object` is a protected field.

    std::atomic<int> loudest = 0;
};

/// An action that keeps its replies. Disconnects in its destructor, because `ActionAccess` does not.
class Recording : public ActionAccess {
public:
    using ActionAccess::ActionAccess;
    Recording(Recording const&) = delete;
    Recording& operator=(Recording const&) = delete;
    ~Recording() override { leave(*this); }

    bool isConnected() const { return object != nullptr; }

    /// Called on the television's thread.
    void notifyResult(unsigned int actionId, std::vector<objbus::Argument> const& results) override {
        answers.push_back(results.empty() ? "recorded" : "recorded " + results[0].value);
        ActionAccess::notifyResult(actionId, results);
    }
    void notifyExecutionError(unsigned int actionId, int error) override {
        answers.push_back("failed: " + std::to_string(error));
        ActionAccess::notifyExecutionError(actionId, error);  // Logs the error.
    }

    std::vector<std::string> answers;  ///< Read after `waitUntilDelivered`.
};

}  // namespace

int main() {
    simulator::Television television;
    television.publish("audio.volume", 20);
    television.publishAction("recorder.start", [asked = 0](auto const& /*arguments*/) mutable {
        using Answer = simulator::ActionAnswer;
        return asked++ == 0 ? Answer{0, {}, -7} : Answer{0, {}, Answer::Results{{0, 0, 0, "News"}}};
    });

    auto volume = std::make_unique<Volume>("audio.volume");
    assert(!volume->isConnected() && volume->getRootInterface() != nullptr);
    assert(volume->tryConnectIfNeeded() == STATUS_OK && volume->isConnected());
    television.set("audio.volume", 60);
    assert(static_cast<ValueAccessBase&>(*volume).setValue(250) == STATUS_OK);  // Calls `Volume::setValue`.
    television.set("audio.volume", 30);
    television.waitUntilDelivered();
    assert(volume->loudest == 100);

    Recording recording("recorder.start");
    unsigned int id = 0;
    assert(recording.connect(1000) == STATUS_OK && recording.invoke(id, {}) == 0 && recording.invoke(id, {}) == 0);
    television.waitUntilDelivered();
    assert((recording.answers == std::vector<std::string>{"failed: -7", "recorded News"}));

    std::unique_ptr<ValueAccessBase>(std::move(volume)).reset();  // Deletes through a base class.
    assert(television.registrations("audio.volume") == 0);
}
