#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "bus/client/model.h"
#include "television/observers.h"

// Private to the platform library.

namespace bus {

/// What all kinds share: the type, and the observers.
template <typename Interface, typename Obs>
class ObjectOf : public Interface, public RemoteObject {
public:
    using RemoteObject::RemoteObject;

    int getType(objbus::ObjectTypeSpec& type) final {
        type = this->type();
        return television::STATUS_OK;
    }

    objbus::Object& object() final { return *this; }
    void connect(objbus::Observer* observer) final {
        if (observers_.size() == 0) {
            endRecovery();
            handleFirstObserver();
        }
        observers_.add(observer, &place());
    }
    std::size_t disconnect(objbus::Observer const* observer) final {
        return observers_.remove(observer, model().delivery);
    }
    [[nodiscard]] bool hasObservers() const final { return observers_.size() != 0; }

protected:
    /// With the model's mutex held.
    virtual void handleFirstObserver() {}

    // With the model's mutex held. An object that was taken away notifies nobody.
    template <typename Notify>
    void post(Notify notify) {
        if (!isWithdrawn()) {
            observers_.post(model().delivery, std::move(notify));
        }
    }
    template <typename Notify>
    void postChange(std::size_t payload, Notify notify) {
        if (!isWithdrawn()) {
            observers_.postChange(model().delivery, payload, std::move(notify));
        }
    }

private:
    television::Observers<Obs> observers_;
};

}  // namespace bus
