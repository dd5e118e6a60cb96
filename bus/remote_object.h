#pragma once

#include <mutex>
#include <string>

#include "bus/model.h"
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
            begin();
        }
        observers_.add(observer, &place());
    }
    std::size_t disconnect(objbus::Observer const* observer) final {
        return observers_.remove(observer, model().delivery);
    }

protected:
    /// The first observer comes.
    virtual void begin() {}

    /// With the model's mutex held.
    template <typename Notify>
    void post(Notify const& notify) const {
        if (!withdrawn()) {
            observers_.post(model().delivery, notify);
        }
    }

private:
    television::Observers<Obs> observers_;
};

}  // namespace bus
