#include "television/delivery.h"

#include <array>
#include <cassert>
#include <cstdio>
#include <new>

#include "television/environment.h"
#include "television/report.h"

namespace television {

namespace {

constexpr char TAG[] = "DELIVERY";
constexpr std::size_t DEFAULT_LIMIT = std::size_t{64} * 1024 * 1024;
constexpr std::size_t ENTRY_SIZE = 256;  ///< A queued change's approximate size without payload.

/// Reports a lack of memory. Any other exception is a fault of the observer and ends the process.
void notify(Notification const& notification, Registration const& recipient) {
    try {
        notification.notify(recipient);
    } catch (std::bad_alloc const&) {
        reportError(TAG, "memory ran out, an observer lost a notification");
    }
}

}  // namespace

std::size_t Delivery::changeBytesLimitFromEnvironment() {
    return fromEnvironment("NRX_DELIVERY_LIMIT", DEFAULT_LIMIT, "a whole number of bytes", "67108864",
                           parseNumber<std::size_t>);
}

Delivery::~Delivery() { stop(); }

void Delivery::start() {
    thread_ = std::thread([this] { runThread(); });
}

void Delivery::enqueue(Notification notification, void const* object, std::size_t payloadBytes) {
    if (notification.recipients.empty()) {
        return;
    }
    Queue added;
    added.push_back({std::move(notification), object, payloadBytes + ENTRY_SIZE});
    auto const entry = added.begin();
    {
        MutexLock const lock(mutex_);
        if (isStopping_) {
            return;
        }
        if (object != nullptr) {
            auto& changes = changes_[object];
            changes.push_back(entry);
            queuedChangeBytes_ += entry->bytesWithOverhead;
            while (queuedChangeBytes_ > changeBytesLimit_ && changes.size() > 1) {
                dropOldest(changes);
            }
        }
        entry->sequenceNumber = ++lastSequenceNumber_;
        queue_.splice(queue_.end(), added);
    }
    posted_.notify_one();  // The mutex is released, so that the woken thread does not wait for the mutex.
}

void Delivery::dropOldest(std::deque<Queue::iterator>& changes) {
    assert(changes.size() > 1 && queuedChangeBytes_ >= changes.front()->bytesWithOverhead);
    queuedChangeBytes_ -= changes.front()->bytesWithOverhead;
    queue_.erase(changes.front());
    changes.pop_front();
    ++unreportedDropCount_;
}

void Delivery::cancel(Registration& registration) {
    MutexLock const lock(mutex_);
    registration.isCancelled = true;
}

void Delivery::waitWhileRunning(objbus::Observer const* observer, void const* notificationSource) {
    MutexLock lock(mutex_);
    if (runningThread_ == std::this_thread::get_id()) {
        return;
    }
    while (runningRegistration_ && runningRegistration_->observer == observer &&
           runningRegistration_->notificationSource == notificationSource) {
        lock.wait(notificationFinished_);
    }
}

std::uint64_t Delivery::oldestUnfinishedSequenceNumber() const {
    if (runningSequenceNumber_ != 0) {
        return runningSequenceNumber_;
    }
    return queue_.empty() ? lastSequenceNumber_ + 1 : queue_.front().sequenceNumber;
}

void Delivery::waitUntilPostedAreDelivered() {
    MutexLock lock(mutex_);
    std::uint64_t const last = lastSequenceNumber_;
    while (oldestUnfinishedSequenceNumber() <= last && !isStopping_) {
        lock.wait(notificationFinished_);
    }
}

void Delivery::stop() {
    {
        MutexLock const lock(mutex_);
        isStopping_ = true;
        changes_.clear();
        queue_.clear();
        posted_.notify_one();
        notificationFinished_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Delivery::runThread() {
    MutexLock lock(mutex_);
    while (!isStopping_) {
        if (queue_.empty()) {
            lock.wait(posted_);
        } else {
            runNext();
        }
    }
}

void Delivery::runNext() {
    assert(!queue_.empty() && runningSequenceNumber_ == 0);
    Queue next;
    next.splice(next.begin(), queue_, queue_.begin());
    Entry const& entry = next.front();
    runningSequenceNumber_ = entry.sequenceNumber;
    if (entry.object != nullptr) {
        auto const changes = changes_.find(entry.object);
        assert(queuedChangeBytes_ >= entry.bytesWithOverhead && changes != changes_.end());
        queuedChangeBytes_ -= entry.bytesWithOverhead;
        changes->second.pop_front();
        if (changes->second.empty()) {
            changes_.erase(changes);
        }
    }
    reportDroppingBeginOrEnd();
    for (auto const& recipient : entry.notification.recipients) {
        if (recipient->isCancelled || isStopping_) {
            continue;
        }
        runningRegistration_ = recipient;
        runningThread_ = std::this_thread::get_id();
        mutex_.unlock();
        notify(entry.notification, *recipient);
        mutex_.lock();
        runningRegistration_.reset();
        runningThread_ = {};
        notificationFinished_.notify_all();
    }
    runningSequenceNumber_ = 0;
    notificationFinished_.notify_all();
}

void Delivery::reportDroppingBeginOrEnd() {
    bool const begins = unreportedDropCount_ != 0 && !isDroppingBeginReported_;
    bool const ends = unreportedDropCount_ != 0 && queuedChangeBytes_ <= changeBytesLimit_ / 2;
    if (!begins && !ends) {
        return;
    }
    std::size_t const dropped = unreportedDropCount_;
    unreportedDropCount_ = ends ? 0 : unreportedDropCount_;
    isDroppingBeginReported_ = !ends;
    mutex_.unlock();
    std::array<char, 160> line;  // On the stack, because memory may have run out.
    if (begins) {
        std::snprintf(line.data(), line.size(),
                      "more than %zu bytes of changes wait for the handlers: older changes give way to newer ones",
                      changeBytesLimit_);
        reportError(TAG, line.data());
    }
    if (ends) {
        std::snprintf(line.data(), line.size(), "the handlers have caught up: %zu changes gave way to newer ones",
                      dropped);
        reportError(TAG, line.data());
    }
    mutex_.lock();
}

}  // namespace television
