#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "objbus/observer.h"

// Private to the televisions.

namespace television {

/// One registration of an observer with a source of notifications. Every connect makes a new one, so that what was
/// queued for an earlier registration of the same observer is not delivered to it.
struct Registration {
    objbus::Observer* observer;
    void const* source;
    bool ended = false;  ///< Guarded by the delivery's mutex.
};

/// Runs notifications, one after the other in the order of `post`: on a thread of its own after `begin`, or on those
/// that call `deliver`.
class Delivery {
public:
    Delivery() = default;
    Delivery(Delivery const&) = delete;
    Delivery& operator=(Delivery const&) = delete;
    ~Delivery();

    /// Starts the thread.
    void begin();

    /// Runs what was posted, until nothing is left. One thread at a time.
    void deliver();

    /// Whether something is left.
    bool isDue();

    /// Runs `notify` later, unless `to` has ended by then.
    void post(std::shared_ptr<Registration const> to, std::function<void()> notify);

    /// No notification to this registration starts from now on.
    void end(Registration& registration);

    /// Waits for a notification from `source` to `observer` that is running, whichever registration it belongs to:
    /// another call may have ended that one already. Does not wait from inside it, which would wait for itself.
    void waitWhileRunning(objbus::Observer const* observer, void const* source);

    /// Returns when everything posted before is done, or after `stop`.
    void waitUntilDone();

    /// Drops what is queued, waits for the notification that is running, and ends the thread.
    void stop();

private:
    struct Notification {
        std::shared_ptr<Registration const> to;
        std::function<void()> notify;
    };

    void run();
    void runNext(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_;
    std::condition_variable posted_;
    std::condition_variable done_;
    std::deque<Notification> queue_;
    std::shared_ptr<Registration const> running_;
    std::thread::id runner_;  ///< The thread on which it is running.
    std::size_t postedCount_ = 0;
    std::size_t doneCount_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

/// A registration with the interface of the observer that its notifications go to: null, and never called, for an
/// observer of another kind.
template <typename Obs>
struct Connection {
    Obs* observer;
    std::shared_ptr<Registration> registration;

    template <typename Notify>
    void post(Delivery& delivery, Notify notify) const {
        if (observer != nullptr) {
            delivery.post(registration, [to = observer, notify = std::move(notify)] { notify(*to); });
        }
    }
};

}  // namespace television
