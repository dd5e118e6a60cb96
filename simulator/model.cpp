#include "simulator/model.h"

#include "simulator/model_object.h"
#include "television/report.h"

namespace simulator {

namespace {

/// Whether the key is to fail now; counts the failed attempts.
bool takeFault(ConnectFault& fault) {
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
    std::lock_guard const lock(mutex);
    if (std::exchange(keys[name].published, nullptr) == nullptr) {
        return false;
    }
    announce(name);
    return true;
}

void Model::setObjectListener(ObjectListener listener) {
    auto next = listener ? std::make_shared<Listening>(Listening{
                               std::move(listener), std::make_shared<Registration>(Registration{nullptr, this})})
                         : nullptr;
    {
        std::lock_guard const lock(mutex);
        if (listening_) {
            delivery.cancel(*listening_->registration);
        }
        listening_.swap(next);
    }
    delivery.waitWhileRunning(nullptr, this);  // With the mutex released: that call may want it.
}

void Model::announce(std::string const& name) {
    if (listening_) {
        delivery.post({{listening_->registration}, [told = listening_, name](auto const&) { told->listener(name); }});
    }
}

int Model::connect(std::string const& name, objbus::Observer* observer, objbus::Object*& object) {
    std::unique_lock lock(mutex);
    Key& key = keys[name];
    key.failAt(Call::connect);
    ++key.counts.connectAttempts;
    bool const fails = takeFault(key.connectFault);
    if (key.published != nullptr && (!fails || key.connectFault.handsOutObject)) {
        object = &key.published->object();
    }
    if (fails) {
        return key.connectFault.status;
    }
    if (key.published == nullptr) {
        return STATUS_NOT_PUBLISHED;
    }
    auto const early = key.notifiesEarly ? key.published->value() : std::nullopt;
    key.published->connect(observer);
    if (early) {
        try {
            key.published->change(*early);
        } catch (...) {  // Out of memory: a connect that fails leaves no registration.
            key.published->disconnect(observer);
            throw;
        }
        lock.unlock();
        delivery.waitUntilDone();
    }
    return STATUS_OK;
}

int Model::disconnect(std::string const& name, objbus::Observer* observer, objbus::Object const* object) {
    bool wasConnected = false;
    Key const* source = nullptr;
    {
        std::lock_guard const lock(mutex);
        Key& key = keys[name];
        key.failAt(Call::disconnect);
        source = &key;
        ++key.counts.disconnects;
        if (object == nullptr) {
            ++key.counts.disconnectsWithoutObject;
        }
        for (auto const& candidate : key.objects) {
            if (object == nullptr || &candidate->object() == object) {
                wasConnected |= candidate->disconnect(observer);
            }
        }
    }
    delivery.waitWhileRunning(observer, source);  // With the mutex released: that notification may want it.
    return !wasConnected && object != nullptr ? STATUS_NOT_CONNECTED : STATUS_OK;
}

}  // namespace simulator
