#include "television/delivery.h"

#include <array>
#include <cstdio>

#include "television/environment.h"
#include "television/report.h"

namespace television {

namespace {

constexpr char TAG[] = "DELIVERY";
constexpr std::size_t DEFAULT_LIMIT = std::size_t{64} * 1024 * 1024;
constexpr std::size_t ENTRY_SIZE = 256;  ///< What a change takes in the queue besides its payload, about.

}  // namespace

std::size_t Delivery::limitFromEnvironment() {
    return fromEnvironment("NRX_DELIVERY_LIMIT", DEFAULT_LIMIT, "a whole number of bytes", "67108864",
                           parseNumber<std::size_t>);
}

Delivery::~Delivery() { stop(); }

void Delivery::start() {
    thread_ = std::thread([this] { run(); });
}

void Delivery::enqueue(Notification notification, void const* object, std::size_t payload) {
    if (notification.recipients.empty()) {
        return;
    }
    Queue added;
    added.push_back({std::move(notification), object, payload + ENTRY_SIZE});
    auto const entry = added.begin();
    {
        std::lock_guard const lock(mutex_);
        if (isStopping_) {
            return;
        }
        if (object != nullptr) {
            auto& changes = changes_[object];
            changes.push_back(entry);
            payload_ += entry->payload;
            while (payload_ > limit_ && changes.size() > 1) {
                dropOldest(changes);
            }
        }
        entry->number = ++postedCount_;
        queue_.splice(queue_.end(), added);
    }
    posted_.notify_one();  // With the mutex released, or the thread would wake up to wait for that.
}

void Delivery::dropOldest(std::deque<Queue::iterator>& changes) {
    payload_ -= changes.front()->payload;
    queue_.erase(changes.front());
    changes.pop_front();
    ++dropped_;
}

void Delivery::cancel(Registration& registration) {
    std::lock_guard const lock(mutex_);
    registration.isCancelled = true;
}

void Delivery::waitWhileRunning(objbus::Observer const* observer, void const* source) {
    std::unique_lock lock(mutex_);
    if (runner_ == std::this_thread::get_id()) {
        return;
    }
    done_.wait(lock, [&] { return !running_ || running_->observer != observer || running_->source != source; });
}

std::uint64_t Delivery::firstPending() const {
    if (current_ != 0) {
        return current_;
    }
    return queue_.empty() ? postedCount_ + 1 : queue_.front().number;
}

void Delivery::waitUntilDone() {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this, last = postedCount_] { return firstPending() > last || isStopping_; });
}

void Delivery::stop() {
    {
        std::lock_guard const lock(mutex_);
        isStopping_ = true;
        changes_.clear();
        queue_.clear();
        posted_.notify_one();
        done_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Delivery::run() {
    std::unique_lock lock(mutex_);
    while (true) {
        posted_.wait(lock, [this] { return isStopping_ || !queue_.empty(); });
        if (isStopping_) {
            return;
        }
        runNext(lock);
    }
}

void Delivery::runNext(std::unique_lock<std::mutex>& lock) {
    Queue next;
    next.splice(next.begin(), queue_, queue_.begin());
    Entry const& entry = next.front();
    current_ = entry.number;
    if (entry.object != nullptr) {
        payload_ -= entry.payload;
        auto const changes = changes_.find(entry.object);
        changes->second.pop_front();
        if (changes->second.empty()) {
            changes_.erase(changes);
        }
    }
    reportDropping(lock);
    for (auto const& recipient : entry.notification.recipients) {
        if (recipient->isCancelled || isStopping_) {
            continue;
        }
        running_ = recipient;
        runner_ = std::this_thread::get_id();
        lock.unlock();
        entry.notification.notify(*recipient);
        lock.lock();
        running_.reset();
        runner_ = {};
        done_.notify_all();
    }
    current_ = 0;
    done_.notify_all();
}

void Delivery::reportDropping(std::unique_lock<std::mutex>& lock) {
    bool const begins = dropped_ != 0 && !isDroppingReported_;
    bool const ends = dropped_ != 0 && payload_ <= limit_ / 2;
    if (!begins && !ends) {
        return;
    }
    std::size_t const dropped = dropped_;
    dropped_ = ends ? 0 : dropped_;
    isDroppingReported_ = !ends;
    lock.unlock();
    std::array<char, 160> line;  // Memory may have run out.
    if (begins) {
        std::snprintf(line.data(), line.size(),
                      "more than %zu bytes of changes wait for the handlers: older changes give way to newer ones",
                      limit_);
        report(TAG, line.data());
    }
    if (ends) {
        std::snprintf(line.data(), line.size(), "the handlers have caught up: %zu changes gave way to newer ones",
                      dropped);
        report(TAG, line.data());
    }
    lock.lock();
}

}  // namespace television
