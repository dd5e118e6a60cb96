#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bus/client/failure.h"
#include "bus/client/remote_object.h"
#include "bus/protocol/contract.h"
#include "television/kinds.h"

namespace bus {

/// An object whose plain value the television holds.
template <typename T>
class RemoteValue : public ObservedRemoteObject<typename television::PlainKindTraits<T>::Object,
                                                typename television::PlainKindTraits<T>::Observer> {
    using Kind = television::PlainKindTraits<T>;

public:
    using RemoteValue::ObservedObject::ObservedObject;

    void handleSignal(sd_bus_message* signal) override {
        T value{};
        int const result = readChange(signal, value);
        if (result < 0) {
            this->logFailure("notify", statusOfReadError(result));
        } else if (result > 0) {
            handleValue(value);
            television::MutexLock const lock(this->modelState().mutex);
            this->markPublished();
            notifyValue(std::make_shared<T const>(std::move(value)));
        }
    }

    void resyncWithTelevision(Completion completion) override {
        auto const value = std::make_shared<T>();
        auto const complete = [this, value, completion = std::move(completion)](int status) {
            if (status != television::STATUS_OK) {
                completion(status);
                return;
            }
            {
                television::MutexLock const lock(this->modelState().mutex);
                this->markPublished();
                pendingResyncValue_ = value;
            }
            // The signal of a change that was made before the read may arrive after the reply to the read. Such a
            // signal arrives before the reply to `Sync`.
            int const called = catchToStatus([&] {
                this->connection().callAsync(
                    {MODEL_PATH, MODEL_INTERFACE, SYNC_METHOD}, CallOrigin::INTERNAL, {}, {},
                    [this, value, completion](int synced) {
                        bool const hasMissed =
                            synced != television::STATUS_NO_ANSWER && synced != television::STATUS_NO_BUS;
                        completion(hasMissed ? catchToStatus([&] { return notifyValueReadByResync(value), synced; })
                                             : synced);
                    });
                return television::STATUS_OK;
            });
            if (called != television::STATUS_OK) {
                completion(called);
            }
        };
        requestValue(CallOrigin::INTERNAL, value, complete);
    }

    /// Clang's thread safety analysis does not check this function, because the analysis cannot see that the caller
    /// locks `modelState().mutex`.
    void abandonUnfinishedOperations() NRX_NOT_ANALYSED override { pendingResyncValue_.reset(); }

protected:
    /// Called for every received value, on the connection's thread and in the order of the messages.
    virtual void handleValue(T const& /*value*/) {}

    /// Writes the value. The argument for a list is a map from positions to elements.
    template <typename Written>
    int write(Written const& written) const {
        int const status = catchToStatus([&] {
            auto const& value = television::valueFromWriteArgument(written);
            auto const arguments = [&value](sd_bus_message* message) {
                NRX_TRY(sd_bus_message_append(message, "ss", Kind::INTERFACE, "Value"));
                return appendVariant(message, Kind::SIGNATURE, value);
            };
            return this->call(PROPERTIES_INTERFACE, "Set", arguments, {});
        });
        if (status != television::STATUS_OK) {
            this->logFailure("write", status);
        }
        return this->logIfFailed("write", status);
    }

    /// Sets `value` to the current value and returns 0. A failure leaves `value` unchanged and returns another status.
    int read(T& value) {
        int const status = catchToStatus([&] {
            auto const received = std::make_shared<T>();
            int const result = this->call(PROPERTIES_INTERFACE, "Get", propertyArguments(Kind::INTERFACE, "Value"),
                                          readReplyInto(received));
            if (result == television::STATUS_OK) {
                value = std::move(*received);
            }
            return result;
        });
        return this->logIfFailed("read", status);
    }

    void requestValue(CallOrigin origin, std::shared_ptr<T> const& value, Completion completion) {
        this->connection().callAsync({this->path(), PROPERTIES_INTERFACE, "Get"}, origin,
                                     propertyArguments(Kind::INTERFACE, "Value"), readReplyInto(value),
                                     std::move(completion));
    }

private:
    MessageBody readReplyInto(std::shared_ptr<T> const& value) {
        return [this, value](sd_bus_message* message) {
            NRX_TRY(readVariant(message, Kind::SIGNATURE, *value));
            handleValue(*value);
            return 0;
        };
    }

    /// Clang's thread safety analysis does not check this function, because the analysis cannot see that the caller
    /// locks `modelState().mutex`.
    void clearResyncState() NRX_NOT_ANALYSED override {
        RemoteObject::clearResyncState();
        lastNotified_.reset();
        pendingResyncValue_.reset();
    }

    void notifyValue(std::shared_ptr<T const> value) NRX_REQUIRES(this->modelState().mutex) {
        this->postChange(payloadSize(*value), [value](auto& observer) { (observer.*Kind::NOTIFY)(*value); });
        lastNotified_ = std::move(value);
        pendingResyncValue_.reset();
        this->endResync();
    }

    /// Notifies the observers of the value that `resyncWithTelevision` read. Does not notify the observers if a change
    /// arrived after the reply to the read, if the object is not published, or if the observers' last value is equal.
    void notifyValueReadByResync(std::shared_ptr<T const> const& value) {
        television::MutexLock const lock(this->modelState().mutex);
        if (pendingResyncValue_ != value || !this->isPublished()) {
            return;
        }
        if (!lastNotified_ || *lastNotified_ != *value) {
            notifyValue(value);
        }
        this->endResync();
    }

    /// Returns 1 if the signal has a new value, 0 if the signal has no new value, and a negative number if the value
    /// cannot be read.
    static int readChange(sd_bus_message* signal, T& value) {
        if (sd_bus_message_is_signal(signal, PROPERTIES_INTERFACE, "PropertiesChanged") <= 0) {
            return 0;
        }
        std::string interface;
        NRX_TRY(bus::read(signal, interface));
        if (interface != Kind::INTERFACE) {
            return 0;
        }
        NRX_TRY(endOfMessageToError(sd_bus_message_enter_container(signal, SD_BUS_TYPE_ARRAY, "{sv}")));
        while (sd_bus_message_at_end(signal, 0) == 0) {
            std::string property;
            NRX_TRY(sd_bus_message_enter_container(signal, SD_BUS_TYPE_DICT_ENTRY, "sv"));
            NRX_TRY(bus::read(signal, property));
            if (property == "Value") {
                NRX_TRY(readVariant(signal, Kind::SIGNATURE, value));
                return 1;
            }
            NRX_TRY(sd_bus_message_skip(signal, "v"));
            NRX_TRY(sd_bus_message_exit_container(signal));
        }
        std::vector<std::string> invalidated;
        NRX_TRY(sd_bus_message_exit_container(signal));
        NRX_TRY(bus::read(signal, invalidated));
        bool const isInvalidated = std::count(invalidated.begin(), invalidated.end(), "Value") != 0;
        // The interface declares that `PropertiesChanged` contains the new value, so an invalidation is an error.
        return isInvalidated ? -EBADMSG : 0;
    }

    std::shared_ptr<T const> lastNotified_ NRX_GUARDED_BY(this->modelState().mutex);
    /// The value that `resyncWithTelevision` read. Null after a later change, because the observers must not receive
    /// the older value then.
    std::shared_ptr<T const> pendingResyncValue_ NRX_GUARDED_BY(this->modelState().mutex);
};

/// A number. Reads of numbers have no status, so a failed read returns the last known value.
template <typename T>
class RemoteNumber : public RemoteValue<T> {
public:
    using RemoteValue<T>::RemoteValue;

    void requestValueBeforeConnect(Completion completion) override {
        this->requestValue(CallOrigin::CLIENT_REQUEST, std::make_shared<T>(), std::move(completion));
    }

protected:
    T readNumber() {
        T value{};
        return this->read(value) == television::STATUS_OK ? value : lastReceivedValue_.load();
    }

private:
    void handleValue(T const& value) override { lastReceivedValue_ = value; }

    std::atomic<T> lastReceivedValue_ = 0;
};

}  // namespace bus
