#include "television/delivery.h"

namespace television {

Delivery::~Delivery() { stop(); }

void Delivery::begin() {
    thread_ = std::thread([this] { run(); });
}

bool Delivery::isDue() {
    std::lock_guard const lock(mutex_);
    return !queue_.empty();
}

void Delivery::post(std::shared_ptr<Registration const> to, std::function<void()> notify) {
    {
        std::lock_guard const lock(mutex_);
        if (stopping_) {
            return;
        }
        queue_.push_back({std::move(to), std::move(notify)});
        ++postedCount_;
    }
    posted_.notify_one();  // With the mutex released, or the thread would wake up to wait for that.
}

void Delivery::end(Registration& registration) {
    std::lock_guard const lock(mutex_);
    registration.ended = true;
}

void Delivery::waitWhileRunning(objbus::Observer const* observer, void const* source) {
    std::unique_lock lock(mutex_);
    if (runner_ == std::this_thread::get_id()) {
        return;
    }
    done_.wait(lock, [&] { return !running_ || running_->observer != observer || running_->source != source; });
}

void Delivery::waitUntilDone() {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this, target = postedCount_] { return doneCount_ >= target || stopping_; });
}

void Delivery::stop() {
    {
        std::lock_guard const lock(mutex_);
        stopping_ = true;
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
        posted_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        if (stopping_) {
            return;
        }
        runNext(lock);
    }
}

void Delivery::deliver() {
    std::unique_lock lock(mutex_);
    while (!queue_.empty()) {
        runNext(lock);
    }
}

void Delivery::runNext(std::unique_lock<std::mutex>& lock) {
    Notification const next = std::move(queue_.front());
    queue_.pop_front();
    if (!next.to->ended) {
        running_ = next.to;
        runner_ = std::this_thread::get_id();
        lock.unlock();
        next.notify();
        lock.lock();
        running_.reset();
        runner_ = {};
    }
    ++doneCount_;
    done_.notify_all();
}

}  // namespace television
