// Access objects of one's own, where a handler is not enough: a value with a rule for what is written and a memory of
// what came, and an action that hears its answers itself.

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

/// Called in the destructor of a class of one's own, while all of it is there: until the disconnect, the television may
/// call it. A destructor must not throw.
template <typename Access>
void leave(Access& access) {
    try {
        access.isConnected() ? access.disconnect() : 0;
    } catch (...) {  // The television's own failure; it may go on notifying.
    }
}

/// The volume, which is never set above 100.
class Volume : public ValueAccessT<objbus::ObserverNumericInteger> {
public:
    using ValueAccessT::ValueAccessT;
    Volume(Volume const&) = delete;
    Volume& operator=(Volume const&) = delete;
    ~Volume() override { leave(*this); }

    using ValueAccessT::setValue;  // The overloads that are not replaced.
    int setValue(int level) override { return ValueAccessT::setValue(std::min(level, 100)); }

    /// On the television's thread; the handler, if there is one, hears of it as ever, last: it may destroy this.
    /// (`onNewValue` would not be called without a handler.)
    using ValueAccessT::notifyNewValue;
    void notifyNewValue(int level) override {
        loudest = std::max(loudest.load(), level);
        ValueAccessT::notifyNewValue(level);
    }

    bool isConnected() const { return object != nullptr; }  // The fields are there for a derived class.

    std::atomic<int> loudest = 0;
};

/// An action that keeps its answers. The base would not disconnect by itself.
class Recording : public ActionAccess {
public:
    using ActionAccess::ActionAccess;
    Recording(Recording const&) = delete;
    Recording& operator=(Recording const&) = delete;
    ~Recording() override { leave(*this); }

    bool isConnected() const { return object != nullptr; }

    /// On the television's thread.
    void notifyResult(unsigned int actionId, std::vector<objbus::Argument> const& results) override {
        answers.push_back(results.empty() ? "recorded" : "recorded " + results[0].value);
        ActionAccess::notifyResult(actionId, results);
    }
    void notifyExecutionError(unsigned int actionId, int error) override {
        answers.push_back("failed: " + std::to_string(error));
        ActionAccess::notifyExecutionError(actionId, error);  // Which logs it.
    }

    std::vector<std::string> answers;  ///< Looked at when they have been delivered.
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
    assert(static_cast<ValueAccessBase&>(*volume).setValue(250) == STATUS_OK);  // Whoever writes, by whichever base.
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
