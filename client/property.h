#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "client/detail/connection.h"
#include "client/executor.h"
#include "client/result.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "objbus/object.h"
#include "objbus/observer.h"

namespace orvane::client {

namespace detail {

template <typename ObserverType, typename ObjectType>
struct KindOf {
    using Observer = ObserverType;
    using Object = ObjectType;
};

/// The interfaces of the model for a type of values.
template <typename T>
struct Kind;
template <>
struct Kind<int> : KindOf<objbus::ObserverNumericInteger, objbus::ObjectNumericInteger> {};
template <>
struct Kind<long long> : KindOf<objbus::ObserverNumericInt64, objbus::ObjectNumericInt64> {};
template <>
struct Kind<std::string> : KindOf<objbus::ObserverString, objbus::ObjectString> {};
template <>
struct Kind<std::vector<int>> : KindOf<objbus::ObserverVectorNumericInteger, objbus::ObjectVectorNumericInteger> {};
template <>
struct Kind<std::vector<std::string>> : KindOf<objbus::ObserverVectorString, objbus::ObjectVectorString> {};

/// The form in which the model takes a value: a list becomes a map from positions to elements; any other value stays
/// unchanged.
template <typename T>
T const& modelForm(T const& value) {
    return value;
}
template <typename T>
std::map<int, T> modelForm(std::vector<T> const& list) {
    std::map<int, T> elements;
    for (T const& element : list) {
        elements.emplace_hint(elements.end(), static_cast<int>(elements.size()), element);
    }
    return elements;
}

template <typename T>
using PropertyConnection = Connection<support::ValueAccessT<typename Kind<T>::Observer>, Watch<T>>;

/// The access object of a property.
template <typename T>
class PropertyAccess final : public PropertyConnection<T> {
    using Base = PropertyConnection<T>;

public:
    using Base::Base;

    int read(T& value) {
        int const status = this->ensureConnected();
        return status == support::STATUS_OK ? Base::getValue(value) : status;
    }

    int write(T const& value) {
        int const status = this->ensureConnected();  // Fails for an object of another type.
        return status == support::STATUS_OK
                   ? static_cast<typename Kind<T>::Object*>(this->object)->setValue(modelForm(value))
                   : status;
    }

    // The base class writes the trace lines. The base class makes no `ValueObject`, because this object has no
    // `ValueHandler`.
    void notifyNewValue(int value) override { Base::notifyNewValue(value), take(value); }
    void notifyNewValue(long long value) override { Base::notifyNewValue(value), take(value); }
    void notifyNewValue(std::string const& value) override { Base::notifyNewValue(value), take(value); }
    void notifyIntegerVector(std::vector<int> const& list) override { Base::notifyIntegerVector(list), take(list); }
    void notifyStringVector(std::vector<std::string> const& list) override {
        Base::notifyStringVector(list), take(list);
    }

private:
    template <typename Value>
    void take(Value const& value) {
        if constexpr (std::is_same_v<Value, T>) {
            auto const watch = this->queue;  // The handler may destroy this object.
            watch->notify(value);
        }
    }
};

}  // namespace detail

/// One plain value of the television's data model, by its key and its type: `int`, `long long`, `std::string`,
/// `std::vector<int>` or `std::vector<std::string>`.
///
///     client::Property<int> volume("audio.volume");
///     auto const level = volume.get();
///     level ? show(*level) : log(describe(level.error()));
///     auto const watched = volume.watch([](int level) { show(level); });
///
/// The first use connects, within 1000 milliseconds. The platform library reconnects after a loss of the television. If
/// the model replaces the object under the key, the program must make a new property. Any thread may use a property.
///
/// The destructor ends the registration and waits for a running handler, except for a handler that runs the destructor.
/// No handler runs afterwards. Any thread may destroy a property while no other thread is in one of its operations. A
/// handler may destroy the property at any time. If the disconnect fails (the root interface is gone, or the model
/// throws or returns a status other than 0), a part of the property stays allocated and ignores notifications. The
/// destructor then does not wait for a handler that the delivery thread runs.
template <typename T>
class Property {
public:
    /// Does not connect. The executor calls the handler. Without an executor, the delivery thread calls the handler.
    explicit Property(std::string const& key, Executor executor = {})
        : access_(new detail::PropertyAccess<T>(key, std::make_shared<detail::Watch<T>>(std::move(executor)))) {}

    /// Connects. Waits 100 milliseconds after each failed attempt, and fails when the waits add up to `timeout`. The
    /// time of the attempts is not counted. Fails at once if there is no root interface. The other operations connect
    /// with a timeout of 1000 milliseconds. `connect` is needed only if the model object may need more time to appear.
    /// A failure has the status 5 if the model object was not obtained, 6 if the object has another type, and 8 if the
    /// key is the text "missing".
    Result<void> connect(std::chrono::milliseconds timeout) {
        return access_->result("connect", access_->connectUntil(detail::deadlineAfter(timeout)));
    }

    /// Reads the value. Fails with a status of `connect`; for a text or a list also with the model's own status. The
    /// model gives no status for a number: if the television is lost, the read may return the last known number.
    Result<T> get() {
        Result<T> result(T{});
        if (int const status = access_->read(*result); status != detail::support::STATUS_OK) {
            result = access_->failure("get", Cause::STATUS, status);
        }
        return result;
    }

    /// Writes the value. Fails with a status of `connect` or with the result of the television's own `setValue`, whose
    /// meaning depends on the television. The television may store another value than `value`. The handler of `watch`
    /// receives the stored value.
    Result<void> set(T const& value) { return access_->result("set", access_->write(value)); }

    /// Calls `handler(T const&)` with the current value, and then with every change. If a notification arrives before
    /// `watch` has queued the call with the current value, the handler receives only the changes. The calls have the
    /// model's order and do not overlap. The call for the last change has the model's current value. After the first
    /// call, the handler may receive changes that are older than the value of this call.
    ///
    /// Without an executor, the thread that calls `watch` makes the first calls of the handler before `watch` returns:
    /// the call with the current value, and the calls for changes that arrive before or during these calls. If the read
    /// of the current value fails, `watch` fails with the status that `get` would have, and installs no handler. A
    /// second handler fails with `WATCHED_ALREADY`. To stop, destroy the property.
    template <typename Handler>
    Result<void> watch(Handler&& handler) {
        return access_->watch(std::forward<Handler>(handler), [&access = *access_](auto& first) {
            T value{};
            int const status = access.read(value);
            first = access.queue->callWith(value);
            return status;
        });
    }

private:
    detail::Owned<detail::PropertyAccess<T>> access_;
};

}  // namespace orvane::client
