#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "objbus/argument.h"
#include "objbus/table.h"
#include "television/value.h"

// The contents of messages. Every operation returns a negative error number when it fails, as sd-bus does; what was
// appended, or read, before is then of no use. Private to both sides of the bus.

namespace bus {

/// Calls the function that gives an object of libsystemd back.
template <auto RELEASE>
struct Release {
    template <typename T>
    void operator()(T* object) const {
        RELEASE(object);
    }
};

using Bus = std::unique_ptr<sd_bus, Release<sd_bus_close_unref>>;
using Message = std::unique_ptr<sd_bus_message, Release<sd_bus_message_unref>>;
using Slot = std::unique_ptr<sd_bus_slot, Release<sd_bus_slot_unref>>;
using Loop = std::unique_ptr<sd_event, Release<sd_event_unref>>;
using Source = std::unique_ptr<sd_event_source, Release<sd_event_source_disable_unref>>;

/// Whether the bus carries the text: it is UTF-8, without a zero byte and without the codes that Unicode gives to no
/// character ever (U+FFFE, U+FFFF and their like).
bool carries(std::string_view text);
/// Whether the bus carries all texts of a value.
template <typename Number>
requires std::is_arithmetic_v<Number>
bool carries(Number /*value*/) { return true; }
template <typename T>
bool carries(std::vector<T> const& values) {
    return std::all_of(values.begin(), values.end(), [](T const& value) { return carries(value); });
}

using television::sizeOf;

/// What the values of a message may have together, as `wireSize` counts them. A bus with the limits that dbus-daemon is
/// built with ends a connection that sends 32 MiB; the rest is room for the header and for what wraps the values.
constexpr std::size_t MOST_BYTES = std::size_t{31} * 1024 * 1024;

// The bytes of a value in a message, at most: every text and every list has a length, an end or padding besides.
std::size_t wireSize(int value);
std::size_t wireSize(unsigned int value);
std::size_t wireSize(long long value);
std::size_t wireSize(std::string const& value);
std::size_t wireSize(objbus::Argument const& argument);
std::size_t wireSize(objbus::TableSelection const& selection);
std::size_t wireSize(objbus::TableOrder const& order);
std::size_t wireSize(std::vector<int> const& values);
template <typename T>
std::size_t wireSize(std::vector<T> const& values) {
    std::size_t size = 8;  // Its length, and the padding before the first element.
    for (T const& value : values) {
        size += wireSize(value);
    }
    return size;
}
/// The same for several.
template <typename... Values>
std::size_t sizeTogether(Values const&... values) {
    return (std::size_t{0} + ... + wireSize(values));
}

// Appends one value, whole. A text that the bus does not carry fails with `-EILSEQ`, and a value of more than
// `MOST_BYTES` with `-EMSGSIZE`.
int append(sd_bus_message* message, int value);
int append(sd_bus_message* message, unsigned int value);
int append(sd_bus_message* message, long long value);
int append(sd_bus_message* message, std::string const& value);
int append(sd_bus_message* message, std::vector<int> const& values);
int append(sd_bus_message* message, std::vector<std::string> const& values);
int append(sd_bus_message* message, std::vector<std::vector<std::string>> const& rows);
int append(sd_bus_message* message, std::vector<objbus::Argument> const& arguments);
int append(sd_bus_message* message, std::vector<objbus::TableSelection> const& selections);
int append(sd_bus_message* message, std::vector<objbus::TableOrder> const& orders);

/// Appends several values, which have at most `MOST_BYTES` together.
template <typename... Values>
int appendAll([[maybe_unused]] sd_bus_message* message, Values const&... values) {
    int result = sizeTogether(values...) > MOST_BYTES ? -EMSGSIZE : 0;
    static_cast<void>(((result >= 0 && (result = append(message, values)) >= 0) && ...));
    return result;
}

// Reads one value. Anything else than the type fails, and so does, with `-EMSGSIZE`, a value of more than `MOST_BYTES`.
int read(sd_bus_message* message, int& value);
int read(sd_bus_message* message, unsigned int& value);
int read(sd_bus_message* message, long long& value);
int read(sd_bus_message* message, std::string& value);
int read(sd_bus_message* message, std::vector<int>& values);
int read(sd_bus_message* message, std::vector<std::string>& values);
int read(sd_bus_message* message, std::vector<std::vector<std::string>>& rows);
int read(sd_bus_message* message, std::vector<objbus::Argument>& arguments);
int read(sd_bus_message* message, std::vector<objbus::TableSelection>& selections);
int read(sd_bus_message* message, std::vector<objbus::TableOrder>& orders);

/// Reads several values, which have at most `MOST_BYTES` together.
template <typename... Values>
int readAll([[maybe_unused]] sd_bus_message* message, Values&... values) {
    int result = 0;
    static_cast<void>((((result = read(message, values)) >= 0) && ...));
    return result >= 0 && sizeTogether(values...) > MOST_BYTES ? -EMSGSIZE : result;
}

/// Appends, or reads, the value in the variant that a property is sent in.
template <typename T>
int appendVariant(sd_bus_message* message, char const* signature, T const& value) {
    int result = sd_bus_message_open_container(message, SD_BUS_TYPE_VARIANT, signature);
    result = result < 0 ? result : append(message, value);
    return result < 0 ? result : sd_bus_message_close_container(message);
}
template <typename T>
int readVariant(sd_bus_message* message, char const* signature, T& value) {
    int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, signature);
    result = result < 0 ? result : read(message, value);
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

/// A loop of events. Throws `std::system_error` when the kernel has no room for it.
Loop makeLoop();

/// The address of the bus: that in NRX_BUS_ADDRESS, or else the session's. Empty if the environment has neither.
std::string addressFromEnvironment();

/// Begins to connect to the bus at the address.
int open(Bus& bus, std::string const& address);

}  // namespace bus
