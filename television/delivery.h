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

namespace television {

/// One registration of an observer with a source of notifications. Each connect makes a new registration, which does
/// not receive the notifications queued for an earlier registration of the same observer.
struct Registration {
    objbus::Observer* observer;
    void const* notificationSource;
    bool isCancelled = false;  ///< Guarded by the delivery's mutex.
};

/// A registration that also has a pointer to the observer's typed interface. `receiver` is null for an observer with
/// another interface, which receives no notifications.
template <typename Obs>
struct TypedRegistration : Registration {
    TypedRegistration(objbus::Observer* untyped, Obs* typed, void const* from)
        : Registration{untyped, from}, receiver(typed) {}

    Obs* const receiver;
};

/// One notification and its recipients.
struct Notification {
    std::vector<std::shared_ptr<Registration const>> recipients;
    /// Called for each recipient that is not cancelled.
    std::function<void(Registration const& recipient)> notify;
};

/// Runs notifications on its own thread, one after the other, in the order of posting.
///
/// The size of the waiting changes is bounded. The size of a change is its payload and 256 bytes. If a new change
/// raises the size above the bound, the oldest waiting changes of the same object are dropped, until the size is within
/// the bound or only the new change of this object waits. The bound never drops the newest change of an object. Other
/// notifications are neither counted nor dropped. If changes are dropped, one line of the log reports this before the
/// next notification runs. Another line reports the number of dropped changes when half of the bound is free.
class Delivery {
public:
    /// Returns the bound in bytes: the value of NRX_DELIVERY_LIMIT, or 64 MiB if the variable has no valid value.
    static std::size_t changeBytesLimitFromEnvironment();

    explicit Delivery(std::size_t changeBytesLimit = changeBytesLimitFromEnvironment())
        : changeBytesLimit_(changeBytesLimit) {}
    Delivery(Delivery const&) = delete;
    Delivery& operator=(Delivery const&) = delete;
    ~Delivery();

    /// Starts the thread. Throws `std::system_error` if the system cannot create a thread.
    void start();

    /// Runs the notification later, for the recipients that are not cancelled by then.
    void post(Notification notification) { enqueue(std::move(notification), nullptr, 0); }

    /// Like `post`, for a change of an object's value. `payloadBytes` is the value's size in bytes.
    void postChange(Notification notification, void const* object, std::size_t payloadBytes) {
        enqueue(std::move(notification), object, payloadBytes);
    }

    /// After this function has returned, no notification of this registration starts.
    void cancel(Registration& registration);

    /// Waits while a notification from `notificationSource` to `observer` runs, even if the notification's registration
    /// was cancelled before. A call from inside a notification returns at once, because otherwise a notification could
    /// wait for its own end.
    void waitWhileRunning(objbus::Observer const* observer, void const* notificationSource);

    /// Waits until all notifications posted before this call are done, or until `stop` is called.
    void waitUntilPostedAreDelivered();

    /// Drops the queued notifications, waits for a running notification, and ends the thread.
    void stop();

private:
    struct Entry {
        Notification notification;
        void const* object;  ///< The changed object, or null.
        std::size_t bytesWithOverhead;
        std::uint64_t sequenceNumber = 0;  ///< The position in the order of posting.
    };
    using Queue = std::list<Entry>;

    void enqueue(Notification notification, void const* object, std::size_t payloadBytes) NRX_EXCLUDES(mutex_);
    void dropOldest(std::deque<Queue::iterator>& changes) NRX_REQUIRES(mutex_);
    void runThread() NRX_EXCLUDES(mutex_);
    // `runNext` and `reportDroppingBeginOrEnd` unlock the mutex temporarily.
    void runNext() NRX_REQUIRES(mutex_);
    void reportDroppingBeginOrEnd() NRX_REQUIRES(mutex_);
    [[nodiscard]] std::uint64_t oldestUnfinishedSequenceNumber() const NRX_REQUIRES(mutex_);

    std::size_t const changeBytesLimit_;

    Mutex mutex_;
    std::condition_variable posted_;
    std::condition_variable notificationFinished_;
    Queue queue_ NRX_GUARDED_BY(mutex_);
    /// The queued changes by object, oldest first.
    std::map<void const*, std::deque<Queue::iterator>> changes_ NRX_GUARDED_BY(mutex_);
    /// The sum of `bytesWithOverhead` of the queued changes.
    std::size_t queuedChangeBytes_ NRX_GUARDED_BY(mutex_) = 0;
    std::uint64_t lastSequenceNumber_ NRX_GUARDED_BY(mutex_) = 0;
    std::uint64_t runningSequenceNumber_ NRX_GUARDED_BY(mutex_) = 0;  ///< The number of the running notification, or 0.
    /// The number of changes dropped since dropping began.
    std::size_t unreportedDropCount_ NRX_GUARDED_BY(mutex_) = 0;
    bool isDroppingBeginReported_ NRX_GUARDED_BY(mutex_) = false;
    std::shared_ptr<Registration const> runningRegistration_ NRX_GUARDED_BY(mutex_);
    std::thread::id runningThread_ NRX_GUARDED_BY(mutex_);
    bool isStopping_ NRX_GUARDED_BY(mutex_) = false;

    std::thread thread_;
};

}  // namespace television
