#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "television/delivery.h"
#include "television/mutex.h"
#include "television/presence.h"

namespace television {

/// The presence of a television, and the listener that receives the changes of the presence. The thread of the delivery
/// calls the listener. While the delivery is null, the thread that changes the presence or sets the listener calls the
/// listener.
class PresenceNotifier {
public:
    explicit PresenceNotifier(std::shared_ptr<Delivery> delivery = nullptr) : delivery_(std::move(delivery)) {}

    [[nodiscard]] Presence presence() const NRX_EXCLUDES(mutex_) {
        MutexLock const lock(mutex_);
        return presence_;
    }

    /// Changes the presence. The thread of `delivery` calls the current listener, and every listener that is set before
    /// the next change.
    void setPresent(bool isPresent, std::shared_ptr<Delivery> delivery) NRX_EXCLUDES(mutex_) {
        std::function<void()> call;
        {
            MutexLock const lock(mutex_);
            if (isPresent == (presence_ != Presence::gone)) {
                return;
            }
            Presence const changed = !isPresent ? Presence::gone : wasEverPresent_ ? Presence::back : Presence::reached;
            call = postOrReturnListenerCall(changed, delivery.get());  // If this throws, `presence_` keeps its value.
            presence_ = changed;
            delivery_.swap(delivery);
            wasEverPresent_ = true;
        }
        call();
    }

    /// Replaces the listener. The new listener receives the current presence first. Waits while the old listener runs.
    void setListener(PresenceListener listener) NRX_EXCLUDES(mutex_) {
        auto next = listener ? std::make_shared<ListenerRegistration>(ListenerRegistration{
                                   std::move(listener), std::make_shared<Registration>(Registration{nullptr, this})})
                             : nullptr;
        std::function<void()> call;
        std::shared_ptr<Delivery> delivery;
        {
            MutexLock const lock(mutex_);
            delivery = delivery_;
            if (listener_ && delivery != nullptr) {
                delivery->cancel(*listener_->registration);
            }
            listener_.swap(next);
            call = postOrReturnListenerCall(presence_, delivery.get());
        }
        // Destroys the earlier listener with the mutex released, because the destructors of the listener's data may
        // lock mutexes.
        next = nullptr;
        call();
        if (delivery != nullptr) {
            // The mutex is released during the wait, because the listener may call this object.
            delivery->waitWhileRunning(nullptr, this);
        }
    }

private:
    struct ListenerRegistration {
        PresenceListener listener;
        std::shared_ptr<Registration> registration;
    };

    /// Posts the presence with the mutex held, so that the listener receives the changes in their order. Returns a
    /// function to call after the unlock. If `delivery` is null, the returned function calls the listener.
    [[nodiscard]] std::function<void()> postOrReturnListenerCall(Presence presence, Delivery* delivery) const
        NRX_REQUIRES(mutex_) {
        if (!listener_) {
            return [] {};
        }
        // The notification has only a weak pointer to the listener. The delivery destroys notifications with its mutex
        // held, and the listener's destructor, which may lock mutexes, must not run then.
        auto const call = [weak = std::weak_ptr(listener_), presence] {
            if (auto const told = weak.lock()) {
                told->listener(presence);
            }
        };
        if (delivery == nullptr) {
            return call;
        }
        delivery->post({{listener_->registration}, [call](auto const&) { call(); }});
        return [] {};
    }

    mutable Mutex mutex_;
    Presence presence_ NRX_GUARDED_BY(mutex_) = Presence::gone;
    bool wasEverPresent_ NRX_GUARDED_BY(mutex_) = false;
    /// Changes with the presence, so that a new listener's first call is not posted to the delivery of a lost
    /// television.
    std::shared_ptr<Delivery> delivery_ NRX_GUARDED_BY(mutex_);
    std::shared_ptr<ListenerRegistration> listener_ NRX_GUARDED_BY(mutex_);  ///< Null without a listener.
};

}  // namespace television
