#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "client/detail/handlers.h"
#include "client/result.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/object.h"
#include "objbus/observer.h"
#include "objbus/root_interface.h"

// Private to the headers of client/.

namespace orvane::client::detail {

namespace support = system::support;
using std::chrono::milliseconds;

constexpr milliseconds DEFAULT_TIMEOUT{1000};

using Deadline = std::chrono::steady_clock::time_point;

/// Returns the end of a timeout. A longer timeout than `INT_MAX` milliseconds (24 days) is shortened to this value,
/// because an access object's `connect` takes an `int`.
inline Deadline deadlineAfter(milliseconds timeout) {
    return std::chrono::steady_clock::now() + std::clamp(timeout, milliseconds(0), milliseconds(INT_MAX));
}

/// Ends the registration of `observer` at `object`, unless `object` is null. Returns false if the model may still
/// notify the observer.
inline bool endRegistration(support::ValueAccessBase& access, std::string const& key, objbus::Observer* observer,
                            objbus::Object* object) noexcept {
    try {
        auto* const root = object == nullptr ? nullptr : access.getRootInterface();
        return object == nullptr || (root != nullptr && root->disconnectObject(key, observer, object) == 0);
    } catch (...) {  // The television's platform library threw.
        return false;
    }
}

/// An object that the model may still notify, because its disconnect failed. A list keeps the object reachable, so that
/// leak checkers do not report the object.
class Retained {
protected:
    ~Retained() = default;

    void keepForever() { next_ = newest.exchange(this); }

private:
    static inline std::atomic<Retained*> newest = nullptr;

    Retained* next_ = nullptr;
};

/// An access object that several threads may use, and that passes its notifications to a queue.
template <typename Access, typename Queue>
class Connection : public Access, private Retained {
public:
    Connection(std::string const& key, std::shared_ptr<Queue> calls) : Access(key), queue(std::move(calls)) {}

    [[nodiscard]] bool isConnected() const { return isConnected_.load(std::memory_order_acquire); }

    int ensureConnected() { return isConnected() ? support::STATUS_OK : connectUntil(deadlineAfter(DEFAULT_TIMEOUT)); }
    /// Connects unless this object is connected. While one thread connects, other threads wait, at most until
    /// `deadline`.
    int connectUntil(Deadline deadline) {
        if (isConnected()) {
            return support::STATUS_OK;
        }
        std::unique_lock lock(mutex_);
        if (!connectEnded_.wait_until(lock, deadline, [this] { return !isConnecting_; })) {
            return support::STATUS_ERR_CONNECT_FAILED;  // Another thread is still connecting.
        }
        isConnecting_ = true;
        lock.unlock();
        struct Attempt {  // Ends the attempt, also if the platform throws.
            Connection& connection;
            ~Attempt() {
                std::lock_guard const guard(connection.mutex_);
                connection.isConnecting_ = false;
                connection.connectEnded_.notify_all();
            }
        } const attempt{*this};
        auto const remaining = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
        this->connectTimeoutMs = static_cast<int>(std::max<milliseconds::rep>(remaining.count(), 0));
        int const status = this->tryConnectIfNeeded();
        isConnected_.store(status == support::STATUS_OK, std::memory_order_release);
        return status;
    }

    [[nodiscard]] Failure failure(char const* operation, Cause cause, int code = 0) const {
        return {operation, this->name, cause, code};
    }
    [[nodiscard]] Result<void> result(char const* operation, int status) const {
        return status == support::STATUS_OK ? Result<void>() : failure(operation, Cause::STATUS, status);
    }

    /// Installs the handler of a `Watch`. `read(first)` connects, and may set `first` to a call of the handler with the
    /// current value. If no notification has arrived, `release` makes this call of the handler. Uses no member after
    /// the calls of the handler, because the handler may destroy this object.
    template <typename Handler, typename Read>
    Result<void> watch(Handler&& callable, Read const& read) {
        auto const calls = queue;
        if (!calls->begin(copyable(std::forward<Handler>(callable)))) {
            return failure("watch", Cause::WATCHED_ALREADY);
        }
        struct Cancel {  // Undoes `begin` unless `release` was called. Runs also if the platform throws.
            Queue& calls;
            ~Cancel() { calls.cancel(); }
        } const cancel{*calls};
        typename Queue::Call first;
        if (int const status = read(first); status != support::STATUS_OK) {
            return result("watch", status);
        }
        calls->release(std::move(first));
        return {};
    }

    /// Ends the registration and deletes the object, or keeps the object if the registration cannot be ended. After the
    /// return no handler runs, with two exceptions: the handler that called this function, and, if the registration was
    /// not ended, the handler of a notification that has already begun.
    struct End {
        void operator()(Connection* connection) const {
            connection->queue->close();
            if (endRegistration(*connection, connection->name, connection, connection->object)) {
                connection->object = nullptr;
                delete connection;
            } else {
                connection->keepForever();
            }
        }
    };

    std::shared_ptr<Queue> const queue;

private:
    std::atomic<bool> isConnected_ = false;
    std::mutex mutex_;
    std::condition_variable connectEnded_;
    bool isConnecting_ = false;  ///< Guarded by the mutex.
};

/// Owns a connection.
template <typename C>
using Owned = std::unique_ptr<C, typename C::End>;

}  // namespace orvane::client::detail
