#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "bus/protocol/task_queue.h"
#include "bus/server/report.h"
#include "bus/server/send_queue.h"

namespace bus::server {

/// Appends a dictionary entry with the name of a property and its value.
template <typename T>
int appendProperty(sd_bus_message* message, char const* name, char const* signature, T const& value) {
    return appendContainer(message, SD_BUS_TYPE_DICT_ENTRY, "sv", [&] {
        NRX_TRY(sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, name));
        return appendVariant(message, signature, value);
    });
}

/// The object or iterator that sends signals.
struct SignalSource {
    std::string key;  ///< The key of the object, or of the iterator's table.
    std::string path;
    std::string interface;    ///< Empty for an object that has no signals.
    std::string destination;  ///< The connection that receives the signals; empty for all connections.
};

/// Sends the signals of one source. Any thread may emit signals. The loop's thread sends the signals in the order of
/// emission. Copies of an emitter share one state.
class SignalEmitter {
public:
    /// The queues must outlive all calls that emit.
    SignalEmitter(SendQueue& sendQueue, TaskQueue& tasks, SignalSource source)
        : state_(std::make_shared<State>(State{sendQueue, tasks, std::move(source)})) {}

    /// Posts a task that sends one signal with the arguments `values`.
    template <typename... Values>
    void emitSignal(char const* member, Values const&... values) const {
        state_->tasks.post([state = state_, member, arguments = std::make_tuple(values...)] {
            std::apply(
                [&](auto const&... each) {
                    state->send(
                        state->source.interface.c_str(), member,
                        [&](sd_bus_message* message) { return appendAll(message, each...); },
                        [&](Message message) {
                            return state->sendQueue.send(std::move(message), totalWireSize(each...));
                        });
                },
                arguments);
        });
    }

    /// Like `emitSignal`. If the values have more bytes than the bus carries, prints an error and returns
    /// false.
    template <typename... Values>
    [[nodiscard]] bool emitSignalIfWithinSizeLimit(char const* member, Values const&... values) const {
        if (totalWireSize(values...) > MAX_MESSAGE_BYTES) {
            state_->reportUnsent(member, -EMSGSIZE);
            return false;
        }
        emitSignal(member, values...);
        return true;
    }

    /// Sends the new value of the property `Value` later. While the bus reads nothing, only the newest value waits.
    template <typename T>
    void emitPropertyChanged(T const& value) const {
        state_->tasks.post([state = state_, value] {
            state->send(
                PROPERTIES_INTERFACE, "PropertiesChanged",
                [&](sd_bus_message* message) { return appendChange(message, state->source.interface, value); },
                [&](Message message) {
                    return state->sendQueue.sendOrReplace(std::move(message), wireSize(value),
                                                          state->replaceableChange);
                });
        });
    }

    /// Drops the signals whose tasks have not run, and all later signals. Called on the loop's thread.
    void stopEmitting() const { state_->isStopped = true; }

    [[nodiscard]] SignalSource const& source() const { return state_->source; }

private:
    struct State {
        template <typename AppendContents, typename Send>
        void send(char const* interface, char const* member, AppendContents const& appendContents,
                  Send const& sendMessage) const {
            auto const makeAndSend = [&] {
                Message message;
                NRX_TRY(assignFromOutParameter(message, [&](auto made) {
                    return sd_bus_message_new_signal(sendQueue.bus(), made, source.path.c_str(), interface, member);
                }));
                if (!source.destination.empty()) {
                    NRX_TRY(sd_bus_message_set_destination(message.get(), source.destination.c_str()));
                }
                NRX_TRY(appendContents(message.get()));
                return sendMessage(std::move(message));
            };
            if (int const result = isStopped ? 0 : makeAndSend(); result < 0) {
                reportUnsent(member, result);
            }
        }

        void reportUnsent(char const* member, int failure) const {
            printObjectError(source.key, std::string(member) + " cannot be sent: " + reasonOf(failure));
        }

        SendQueue& sendQueue;
        TaskQueue& tasks;
        SignalSource source;
        bool isStopped = false;
        SendQueue::ReplaceableMessage replaceableChange{};
    };

    template <typename T>
    static int appendChange(sd_bus_message* message, std::string const& interface, T const& value) {
        NRX_TRY(append(message, interface));
        NRX_TRY(appendContainer(message, SD_BUS_TYPE_ARRAY, "{sv}", [&] {
            return appendProperty(message, "Value", television::PlainKindTraits<T>::SIGNATURE, value);
        }));
        return append(message, std::vector<std::string>());  // No property is invalidated.
    }

    std::shared_ptr<State> state_;
};

}  // namespace bus::server
