#include "simulator/model.h"

#include "simulator/model_object.h"
#include "television/report.h"

namespace simulator {

namespace {

/// Returns whether the current connect attempt fails. Decrements the number of failing attempts, if the number is
/// positive.
bool consumeFault(ConnectFault& fault) {
    if (fault.attempts == 0) {
        return false;
    }
    if (fault.attempts > 0) {
        --fault.attempts;
    }
    return true;
}

}  // namespace

Model::Model() {
    readLogEnvironment();
    delivery.start();
}

bool Model::withdraw(std::string const& name) {
    MutexLock const lock(mutex);
    if (std::exchange(keys[name].published, nullptr) == nullptr) {
        return false;
    }
    notifyListener(name);
    return true;
}

void Model::setObjectListener(ObjectListener listener) {
    auto next = listener ? std::make_shared<ListenerRegistration>(ListenerRegistration{
                               std::move(listener), std::make_shared<Registration>(Registration{nullptr, this})})
                         : nullptr;
    {
        MutexLock const lock(mutex);
        if (listener_) {
            delivery.cancel(*listener_->registration);
        }
        listener_.swap(next);
    }
    // The mutex is released during the wait, because a running call of the listener may lock the mutex.
    delivery.waitWhileRunning(nullptr, this);
}

void Model::notifyListener(std::string const& name) {
    if (listener_) {
        // The notification has only a weak pointer to the listener. The delivery destroys notifications with its mutex
        // held, and the listener's destructor, which may lock mutexes, must not run then.
        delivery.post({{listener_->registration}, [weak = std::weak_ptr(listener_), name](auto const& /*recipient*/) {
                           if (auto const told = weak.lock()) {
                               told->listener(name);
                           }
                       }});
    }
}

int Model::connect(std::string const& name, objbus::Observer* observer, objbus::Object*& object) {
    MutexLock lock(mutex);
    KeyEntry& entry = keys[name];
    entry.throwIfFaulty(Call::connect);
    ++entry.callCounts.connectAttempts;
    bool const fails = consumeFault(entry.connectFault);
    if (entry.published != nullptr && (!fails || entry.connectFault.handsOutObject)) {
        object = &entry.published->object();
    }
    if (fails) {
        return entry.connectFault.status;
    }
    if (entry.published == nullptr) {
        return STATUS_NOT_PUBLISHED;
    }
    auto const early = entry.notifiesDuringConnect ? entry.published->value() : std::nullopt;
    entry.published->addRegistration(observer);
    if (early) {
        try {
            entry.published->replaceValue(*early);
        } catch (...) {  // If memory runs out, removes the registration.
            entry.published->removeRegistrations(observer);
            throw;
        }
        lock.unlock();
        delivery.waitUntilPostedAreDelivered();
    }
    return STATUS_OK;
}

int Model::disconnect(std::string const& name, objbus::Observer* observer, objbus::Object const* object) {
    std::size_t ended = 0;
    KeyEntry const* source = nullptr;
    {
        MutexLock const lock(mutex);
        KeyEntry& entry = keys[name];
        entry.throwIfFaulty(Call::disconnect);
        source = &entry;
        ++entry.callCounts.disconnects;
        if (object == nullptr) {
            ++entry.callCounts.disconnectsWithoutObject;
        }
        for (auto const& candidate : entry.currentAndWithdrawnObjects) {
            if (object == nullptr || &candidate->object() == object) {
                ended += candidate->removeRegistrations(observer);
            }
        }
    }
    // The mutex is released during the wait, because a running notification may lock the mutex.
    delivery.waitWhileRunning(observer, source);
    return ended == 0 && object != nullptr ? STATUS_NOT_CONNECTED : STATUS_OK;
}

}  // namespace simulator
