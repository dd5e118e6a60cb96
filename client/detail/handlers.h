#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>

#include "client/executor.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_export.h"

// Private to the headers of client/.

namespace orvane::client::detail {

/// Whether the model is notifying an object of this layer on this thread. If so, an operation on this thread must not
/// wait for the model.
inline thread_local bool NRX_EXPORT isNotified = false;

/// Sets `isNotified` during a notification to an object of this layer.
class NotificationScope {
public:
    NotificationScope() = default;
    NotificationScope(NotificationScope const&) = delete;
    NotificationScope& operator=(NotificationScope const&) = delete;
    ~NotificationScope() { isNotified = isNested_; }

private:
    bool const isNested_ = std::exchange(isNotified, true);  ///< A model may notify inside a call of a handler.
};

/// Makes a callable of one argument copyable.
template <typename F>
auto copyable(F&& callable) {
    return [shared = std::make_shared<std::decay_t<F>>(std::forward<F>(callable))](auto const& value) {
        (*shared)(value);
    };
}

/// Calls an object's handlers, one call at a time, in tasks of the executor. Without an executor, the thread that adds
/// a call makes the call, unless another thread is making the calls. The thread that makes the calls holds a reference
/// to the queue, because a handler may destroy the object.
class HandlerQueue : public std::enable_shared_from_this<HandlerQueue> {
public:
    using Call = std::function<void()>;
    enum State {
        OFF,     ///< Drops calls.
        HELD,    ///< Keeps calls until `release`.
        OPEN,    ///< Makes calls.
        DIRECT,  ///< Replaces OPEN when there is no executor and no call waits. The delivery thread calls the handler
                 ///< of a `Watch` at once.
        CLOSED,  ///< Drops calls. This state is final.
    };

    HandlerQueue(Executor executor, State state) : state_(state), executor_(std::move(executor)) {}
    HandlerQueue(HandlerQueue const&) = delete;
    HandlerQueue& operator=(HandlerQueue const&) = delete;
    virtual ~HandlerQueue() = default;

    void post(Call call) {
        auto task = makeTask();  // If memory runs out, `makeTask` throws before the queue changes.
        {
            std::lock_guard const lock(mutex_);
            if (state_ == OFF || state_ == CLOSED) {
                return;
            }
            calls_.push_back(std::move(call));
        }
        start(std::move(task));
    }

    /// Ends the state HELD, and makes the calls that the queue kept. If there are no kept calls, makes `first`.
    void release(Call first) {
        auto task = makeTask();
        {
            std::lock_guard const lock(mutex_);
            if (calls_.empty() && first) {
                calls_.push_back(std::move(first));
            }
            state_ = OPEN;
        }
        start(std::move(task));
    }

    /// Drops the waiting calls. If `run` is making a call on another thread, waits until this call ends. In the state
    /// DIRECT, the delivery thread makes a call without `run`, and this function does not wait for the call. The caller
    /// of this function then disconnects from the model, and this disconnect waits for the call.
    void close() {
        std::list<Call> dropped;  // Destroyed after the unlock, because calls own data of the program.
        std::unique_lock lock(mutex_);
        state_ = CLOSED;
        dropped.swap(calls_);  // Allocates nothing.
        done_.wait(lock, [this] { return runner_ == std::thread::id() || runner_ == std::this_thread::get_id(); });
    }

protected:
    std::mutex mutex_;
    std::atomic<State> state_;  ///< Changed with the mutex held.
    std::list<Call> calls_;     ///< Guarded by the mutex.

private:
    Call makeTask() {
        return executor_ ? [weak = weak_from_this()] {
            if (auto const queue = weak.lock()) {
                queue->run();
            }
        } : Call();
    }
    void start(Call task) { task ? executor_(std::move(task)) : run(); }

    /// Makes one waiting call, so that one task does not occupy its thread for long. If this function already runs on
    /// the thread `runner_`, a second run only adds a turn. The first run then makes one more waiting call.
    void run() noexcept {
        std::unique_lock lock(mutex_);
        ++turns_;
        if (runner_ != std::thread::id()) {
            return;
        }
        runner_ = std::this_thread::get_id();
        for (; turns_ != 0 && state_ != HELD && !calls_.empty(); --turns_) {
            Call call = std::move(calls_.front());
            calls_.pop_front();
            lock.unlock();
            call();
            call = nullptr;
            lock.lock();
        }
        state_ = state_ == OPEN && !executor_ && calls_.empty() ? DIRECT : state_.load();
        runner_ = std::thread::id();
        done_.notify_all();
    }

    Executor const executor_;
    std::condition_variable done_;
    // The mutex guards the next two members.
    std::thread::id runner_;  ///< The thread on which `run` calls handlers, if any.
    std::size_t turns_ = 0;   ///< The number of waiting calls that `runner_` may make. Each `run` adds one.
};

/// Calls one handler for the notifications of values.
template <typename T>
class Watch final : public HandlerQueue {
public:
    explicit Watch(Executor executor) : HandlerQueue(std::move(executor), OFF) {}

    /// Installs the handler and keeps the notifications until `release`. Returns false if there is already
    /// a handler.
    bool begin(std::function<void(T const&)> handler) {
        std::lock_guard const lock(mutex_);
        if (state_ != OFF) {
            return false;
        }
        handler_ = std::move(handler);
        state_ = HELD;
        return true;
    }
    /// Undoes `begin`, unless `release` was called.
    void cancel() {
        std::function<void(T const&)> dropped;  // Destroyed after the unlock.
        std::lock_guard const lock(mutex_);
        if (state_ == HELD) {
            state_ = OFF;
            calls_.clear();
            dropped.swap(handler_);
        }
    }

    [[nodiscard]] Call callWith(T const& value) {
        return [this, value] { handler_(value); };
    }

    /// Handles a notification, on the delivery thread.
    void notify(T const& value) {
        NotificationScope const scope;
        State const state = state_.load(std::memory_order_acquire);
        if (state == DIRECT) {
            handler_(value);
        } else if (state != OFF) {
            post(callWith(value));
        }
    }

private:
    std::function<void(T const&)> handler_;
};

}  // namespace orvane::client::detail
