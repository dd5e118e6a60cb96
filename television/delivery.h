#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "objbus/observer.h"
#include "television/mutex.h"

// Private to the televisions.

namespace television {

/// One registration of an observer with a source of notifications. Each connect makes a new one, so that a notification
/// that was queued for an earlier registration of the same observer is not delivered to the new one.
struct Registration {
    objbus::Observer* observer;
    void const* source;
    bool isCancelled = false;  ///< Guarded by the delivery's mutex.
};

/// A registration with the interface of the observer that receives its notifications: null for an observer of another
/// kind, which receives none.
template <typename Obs>
struct TypedRegistration : Registration {
    TypedRegistration(objbus::Observer* untyped, Obs* typed, void const* from)
        : Registration{untyped, from}, receiver(typed) {}

    Obs* const receiver;
};

/// One notification, and the registrations that it goes to.
struct Notification {
    std::vector<std::shared_ptr<Registration const>> recipients;
    /// Called for each of them that is not cancelled.
    std::function<void(Registration const& recipient)> notify;
};

/// Runs notifications on a thread of its own, one after the other in the order of posting.
///
/// The payload of the changes that wait is bounded. Above the bound a change of an object displaces the object's oldest
/// changes, until the bound is kept or the object has no other change; the newest change of each object is always
/// delivered. Other notifications are neither counted nor dropped. Before the next notification after that, one
/// line of the log says that changes are dropped, and another one how many were, once half of the bound is free again.
class Delivery {
public:
    /// The bound: NRX_DELIVERY_LIMIT in bytes, or 64 MiB.
    static std::size_t limitFromEnvironment();

    explicit Delivery(std::size_t limit = limitFromEnvironment()) : limit_(limit) {}
    Delivery(Delivery const&) = delete;
    Delivery& operator=(Delivery const&) = delete;
    ~Delivery();

    /// Starts the thread. Throws `std::system_error` if the system has no room for one.
    void start();

    /// Runs the notification later, for the recipients that are not cancelled by then.
    void post(Notification notification) { enqueue(std::move(notification), nullptr, 0); }

    /// The same for a change of an object's value, whose payload has so many bytes.
    void postChange(Notification notification, void const* object, std::size_t payload) {
        enqueue(std::move(notification), object, payload);
    }

    /// No notification to this registration starts from now on.
    void cancel(Registration& registration);

    /// Waits for a notification from `source` to `observer` that is running, whichever registration it belongs to:
    /// another call may have cancelled that one already. Does not wait from inside it, which would wait for itself.
    void waitWhileRunning(objbus::Observer const* observer, void const* source);

    /// Returns when everything posted before is done, or after `stop`.
    void waitUntilDone();

    /// Drops what is queued, waits for the notification that is running, and ends the thread.
    void stop();

private:
    struct Entry {
        Notification notification;
        void const* object;  ///< Whose change it is, or null.
        std::size_t payload;
        std::uint64_t number = 0;  ///< In the order of posting.
    };
    using Queue = std::list<Entry>;

    void enqueue(Notification notification, void const* object, std::size_t payload) NRX_EXCLUDES(mutex_);
    void dropOldest(std::deque<Queue::iterator>& changes) NRX_REQUIRES(mutex_);
    void runThread() NRX_EXCLUDES(mutex_);
    // Unlock the mutex meanwhile:
    void runNext() NRX_REQUIRES(mutex_);
    void reportDropping() NRX_REQUIRES(mutex_);
    [[nodiscard]] std::uint64_t firstPending() const NRX_REQUIRES(mutex_);

    std::size_t const limit_;

    Mutex mutex_;
    std::condition_variable posted_;
    std::condition_variable done_;
    Queue queue_ NRX_GUARDED_BY(mutex_);
    /// The changes in the queue, by their objects, oldest first.
    std::map<void const*, std::deque<Queue::iterator>> changes_ NRX_GUARDED_BY(mutex_);
    std::size_t payload_ NRX_GUARDED_BY(mutex_) = 0;  ///< Of these changes.
    std::uint64_t postedCount_ NRX_GUARDED_BY(mutex_) = 0;
    std::uint64_t current_ NRX_GUARDED_BY(mutex_) = 0;     ///< The number of the running notification, or 0.
    std::size_t droppedCount_ NRX_GUARDED_BY(mutex_) = 0;  ///< Since dropping began.
    bool isDroppingReported_ NRX_GUARDED_BY(mutex_) = false;
    std::shared_ptr<Registration const> running_ NRX_GUARDED_BY(mutex_);
    std::thread::id runningThread_ NRX_GUARDED_BY(mutex_);
    bool isStopping_ NRX_GUARDED_BY(mutex_) = false;

    std::thread thread_;
};

}  // namespace television
