#pragma once

#include <cstddef>
#include <utility>

#include "objbus/object.h"
#include "television/observers.h"
#include "television/status.h"

namespace television {

/// The common part of the objects of all kinds: the type and the observers. `Interface` is the platform's interface of
/// the kind, `Obs` the interface of the kind's observers. `Base` is the television's own part of the object. `Base`
/// declares `object`, `addRegistration`, `removeRegistrations` and `observerCount`, and defines `beforeGetType`,
/// `type`, `entry`, `delivery` and `isWithdrawn`.
template <typename Interface, typename Obs, typename Base>
class ObservedObject : public Interface, public Base {
public:
    using Base::Base;

    int getType(objbus::ObjectTypeSpec& type) final {
        this->beforeGetType();
        type = this->type();
        return STATUS_OK;
    }

    objbus::Object& object() final { return *this; }
    void addRegistration(objbus::Observer* observer) final { observers_.add(observer, &this->entry()); }
    std::size_t removeRegistrations(objbus::Observer const* observer) final {
        return observers_.removeAll(observer, this->delivery());
    }
    [[nodiscard]] std::size_t observerCount() const final { return observers_.size(); }

protected:
    template <typename Notify>
    void post(Notify notify) {
        if (!this->isWithdrawn()) {
            observers_.post(this->delivery(), std::move(notify));
        }
    }
    template <typename Notify>
    void postChange(std::size_t payloadBytes, Notify notify) {
        if (!this->isWithdrawn()) {
            observers_.postChange(this->delivery(), payloadBytes, std::move(notify));
        }
    }

private:
    Observers<Obs> observers_;
};

}  // namespace television
