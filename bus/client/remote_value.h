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
class RemoteValue
    : public ObjectOf<typename television::PlainKind<T>::Object, typename television::PlainKind<T>::Observer> {
    using Kind = television::PlainKind<T>;

public:
    using RemoteValue::ObservedObject::ObservedObject;

    void handleSignal(sd_bus_message* signal) override {
        T value{};
        int const result = readChange(signal, value);
        if (result < 0) {
            this->report("notify", statusOfReadError(result));
        } else if (result > 0) {
            handleValue(value);
            television::MutexLock const lock(this->context().mutex);
            this->markPublished();
            notifyValue(std::make_shared<T const>(std::move(value)));
        }
    }

    void recover(Completion completion) override {
        auto const value = std::make_shared<T>();
        auto const complete = [this, value, completion = std::move(completion)](int status) {
            if (status != television::STATUS_OK) {
                completion(status);
                return;
            }
            {
                television::MutexLock const lock(this->context().mutex);
                this->markPublished();
                missedValue_ = value;
            }
            // Signals of earlier changes may arrive after the reply. They arrive before the reply to this call.
            int const called = catchToStatus([&] {
                this->connection().callAsync(
                    {MODEL_PATH, MODEL_INTERFACE, SYNC_METHOD}, Caller::PLATFORM, {}, {},
                    [this, value, completion](int synced) {
                        bool const hasMissed =
                            synced != television::STATUS_NO_ANSWER && synced != television::STATUS_NO_BUS;
                        completion(hasMissed ? catchToStatus([&] { return notifyMissedValue(value), synced; })
                                             : synced);
                    });
                return television::STATUS_OK;
            });
            if (called != television::STATUS_OK) {
                completion(called);
            }
        };
        requestValue(Caller::PLATFORM, value, complete);
    }

    /// Not analysed, because the caller has another name for the same mutex.
    void failPending() NRX_NOT_ANALYSED override { missedValue_.reset(); }

protected:
    /// Called for every received value, on the connection's thread and in the order of the messages.
    virtual void handleValue(T const& /*value*/) {}

    /// Writes the value, or a list's elements by position.
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
            this->report("write", status);
        }
        return status;
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
        return this->reportRefusal("read", status);
    }

    void requestValue(Caller caller, std::shared_ptr<T> const& value, Completion completion) {
        this->connection().callAsync({this->path(), PROPERTIES_INTERFACE, "Get"}, caller,
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

    void handleFirstObserver() NRX_NOT_ANALYSED override {
        RemoteObject::handleFirstObserver();
        lastNotified_.reset();
        missedValue_.reset();
    }

    void notifyValue(std::shared_ptr<T const> value) NRX_REQUIRES(this->context().mutex) {
        this->postChange(payloadSize(*value), [value](auto& observer) { (observer.*Kind::NOTIFY)(*value); });
        lastNotified_ = std::move(value);
        missedValue_.reset();
        this->endRecovery();
    }

    /// Notifies the value that `recover` read, unless a change arrived meanwhile or the observers know the value.
    void notifyMissedValue(std::shared_ptr<T const> const& value) {
        television::MutexLock const lock(this->context().mutex);
        if (missedValue_ != value || !this->isPublished()) {
            return;
        }
        if (!lastNotified_ || *lastNotified_ != *value) {
            notifyValue(value);
        }
        this->endRecovery();
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
        NRX_TRY(requireElement(sd_bus_message_enter_container(signal, SD_BUS_TYPE_ARRAY, "{sv}")));
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
        return isInvalidated ? -EBADMSG : 0;  // The interface declares that a change's signal has the value.
    }

    std::shared_ptr<T const> lastNotified_ NRX_GUARDED_BY(this->context().mutex);
    /// Notified unless a change arrives first.
    std::shared_ptr<T const> missedValue_ NRX_GUARDED_BY(this->context().mutex);
};

/// A number. Reads of numbers have no status, so a failed read returns the last known value.
template <typename T>
class RemoteNumber : public RemoteValue<T> {
public:
    using RemoteValue<T>::RemoteValue;

    void requestInitialValue(Completion completion) override {
        this->requestValue(Caller::CLIENT, std::make_shared<T>(), std::move(completion));
    }

protected:
    T readNumber() {
        T value{};
        return this->read(value) == television::STATUS_OK ? value : lastValue_.load();
    }

private:
    void handleValue(T const& value) override { lastValue_ = value; }

    std::atomic<T> lastValue_ = 0;
};

}  // namespace bus
