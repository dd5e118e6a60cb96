#pragma once

#include <cassert>
#include <memory>
#include <utility>
#include <vector>

#include "objbus/observer.h"
#include "television/delivery.h"
#include "television/kinds.h"

namespace television {

/// Returns a function that calls `notify` with a registration's receiver.
template <typename Obs, typename Notify>
auto adaptToRegistration(Notify notify) {
    return [notify = std::move(notify)](Registration const& recipient) {
        auto const& registration = static_cast<TypedRegistration<Obs> const&>(recipient);
        assert(registration.receiver != nullptr);
        notify(*registration.receiver);
    };
}

/// Posts a call of `notify` with one registration's receiver.
template <typename Obs, typename Notify>
void postTo(std::shared_ptr<TypedRegistration<Obs>> const& registration, Delivery& delivery, Notify notify) {
    if (registration->receiver != nullptr) {
        delivery.post({{registration}, adaptToRegistration<Obs>(std::move(notify))});
    }
}

/// The observers of one object, notified through the interface `Obs`. Observers that do not implement `Obs` receive no
/// notifications.
template <typename Obs>
class Observers {
public:
    /// Adds a registration. `Delivery::waitWhileRunning` finds the registration by observer and `notificationSource`.
    void add(objbus::Observer* observer, void const* notificationSource) {
        registrations_.push_back(
            std::make_shared<TypedRegistration<Obs>>(observer, dynamic_cast<Obs*>(observer), notificationSource));
    }

    /// Cancels the observer's registrations and returns their number.
    std::size_t removeAll(objbus::Observer const* observer, Delivery& delivery) {
        auto const cancel = [observer, &delivery](auto const& registration) {
            if (registration->observer != observer) {
                return false;
            }
            delivery.cancel(*registration);
            return true;
        };
        return std::erase_if(registrations_, cancel);  // Allocates nothing, because memory may have run out.
    }

    [[nodiscard]] std::size_t size() const { return registrations_.size(); }

    /// Posts a call of `notify` for each observer.
    template <typename Notify>
    void post(Delivery& delivery, Notify notify) const {
        delivery.post(makeNotification(std::move(notify)));
    }

    /// Like `post`, for a change of the object's value. `payloadBytes` is the value's size in bytes.
    template <typename Notify>
    void postChange(Delivery& delivery, std::size_t payloadBytes, Notify notify) const {
        delivery.postChange(makeNotification(std::move(notify)), this, payloadBytes);
    }

private:
    template <typename Notify>
    Notification makeNotification(Notify notify) const {
        Notification made;
        for (auto const& registration : registrations_) {
            if (registration->receiver != nullptr) {
                made.recipients.push_back(registration);
            }
        }
        made.notify = adaptToRegistration<Obs>(std::move(notify));
        return made;
    }

    std::vector<std::shared_ptr<TypedRegistration<Obs>>> registrations_;
};

/// Sends the rows to an iterator's observer.
inline void notifyChunk(objbus::ObserverTableIterator& observer, Rows const& rows) {
    std::vector<std::vector<std::string> const*> pointers;
    for (auto const& row : rows) {
        pointers.push_back(&row);
    }
    observer.notifyReadRowChunk(pointers);
}

}  // namespace television
