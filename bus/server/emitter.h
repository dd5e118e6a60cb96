#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "bus/protocol/tasks.h"
#include "bus/server/outgoing.h"
#include "bus/server/report.h"

namespace bus::server {

/// Appends a property of an interface, as the messages of several have them: its name, and its value in a variant.
template <typename T>
int appendProperty(sd_bus_message* message, char const* name, char const* signature, T const& value) {
    int result = sd_bus_message_open_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv");
    result = result < 0 ? result : sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, name);
    result = result < 0 ? result : appendVariant(message, signature, value);
    return result < 0 ? result : sd_bus_message_close_container(message);
}

/// Where what is on the bus sends its signals from.
struct Origin {
    std::string key;  ///< Of the object that it is, or is an iterator of.
    std::string path;
    std::string interface;  ///< Empty for an object that has no signals.
    std::string receiver;   ///< The only one who hears them; everybody when empty.
};

/// Sends the signals of one origin: any thread may ask for them, and they are sent in this order on the thread of the
/// loop. The copies are one.
class Emitter {
public:
    /// What is outgoing and the tasks outlive all calls of `signal` and `changed`.
    Emitter(Outgoing& outgoing, Tasks& tasks, Origin origin)
        : state_(std::make_shared<State>(State{outgoing, tasks, std::move(origin)})) {}

    /// Sends one signal with these arguments later.
    template <typename... Values>
    void signal(char const* member, Values const&... values) const {
        state_->tasks.post([state = state_, member, arguments = std::make_tuple(values...)] {
            std::apply(
                [&state, member](auto const&... each) {
                    state->send(
                        state->origin.interface.c_str(), member,
                        [&each...](sd_bus_message* message) { return appendAll(message, each...); },
                        [&state, &each...](Message message) {
                            return state->outgoing.send(std::move(message), sizeTogether(each...));
                        });
                },
                arguments);
        });
    }

    /// The same, for what may be more than the bus carries: then it says so, and returns false.
    template <typename... Values>
    [[nodiscard]] bool signalIfCarried(char const* member, Values const&... values) const {
        if (sizeTogether(values...) > MOST_BYTES) {
            state_->reportUnsent(member, -EMSGSIZE);
            return false;
        }
        signal(member, values...);
        return true;
    }

    /// Tells the new value of the property `Value` later. While the bus takes nothing, it is the newest one that waits.
    template <typename T>
    void changed(T const& value) const {
        state_->tasks.post([state = state_, value] {
            state->send(
                PROPERTIES_INTERFACE, "PropertiesChanged",
                [&state, &value](sd_bus_message* message) {
                    return appendChange(message, state->origin.interface, value);
                },
                [&state, &value](Message message) {
                    return state->outgoing.send(std::move(message), wireSize(value), state->newest);
                });
        });
    }

    /// On the thread of the loop: sends nothing from now on, nor what was asked for.
    void end() const { state_->ended = true; }

    [[nodiscard]] Origin const& origin() const { return state_->origin; }

private:
    struct State {
        /// `handOver` sends the message that is made.
        template <typename AppendContents, typename HandOver>
        void send(char const* interface, char const* member, AppendContents const& appendContents,
                  HandOver const& handOver) const {
            if (ended) {
                return;
            }
            sd_bus_message* made = nullptr;
            int result = sd_bus_message_new_signal(outgoing.bus(), &made, origin.path.c_str(), interface, member);
            Message message(made);
            if (result >= 0 && !origin.receiver.empty()) {
                result = sd_bus_message_set_destination(made, origin.receiver.c_str());
            }
            result = result < 0 ? result : appendContents(made);
            result = result < 0 ? result : handOver(std::move(message));
            if (result < 0) {
                reportUnsent(member, result);
            }
        }

        void reportUnsent(char const* member, int failure) const {
            reportObject(origin.key, std::string(member) + " cannot be sent: " + reasonOf(failure));
        }

        Outgoing& outgoing;
        Tasks& tasks;
        Origin origin;
        bool ended = false;
        Outgoing::Newest newest{};
    };

    template <typename T>
    static int appendChange(sd_bus_message* message, std::string const& interface, T const& value) {
        int result = append(message, interface);
        result = result < 0 ? result : sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "{sv}");
        result = result < 0 ? result : appendProperty(message, "Value", Plain<T>::SIGNATURE, value);
        result = result < 0 ? result : sd_bus_message_close_container(message);
        return result < 0 ? result : append(message, std::vector<std::string>());  // None is left to be read.
    }

    std::shared_ptr<State> state_;
};

}  // namespace bus::server
