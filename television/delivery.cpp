#include "television/delivery.h"

namespace television {

Delivery::Delivery() : thread_([this] { run(); }), threadId_(thread_.get_id()) {}

Delivery::~Delivery() { stop(); }

void Delivery::post(std::shared_ptr<Registration const> to, std::function<void()> notify) {
    std::lock_guard const lock(mutex_);
    if (stopping_) {
        return;
    }
    queue_.push_back({std::move(to), std::move(notify)});
    ++postedCount_;
    posted_.notify_one();
}

void Delivery::end(Registration& registration) {
    std::lock_guard const lock(mutex_);
    registration.ended = true;
}

void Delivery::waitWhileRunning(objbus::Observer const* observer, void const* source) {
    if (std::this_thread::get_id() == threadId_) {
        return;
    }
    std::unique_lock lock(mutex_);
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
        Notification const next = std::move(queue_.front());
        queue_.pop_front();
        if (!next.to->ended) {
            running_ = next.to;
            lock.unlock();
            next.notify();
            lock.lock();
            running_.reset();
        }
        ++doneCount_;
        done_.notify_all();
    }
}

}  // namespace television
