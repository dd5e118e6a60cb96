#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "objbus/argument.h"
#include "objbus/table.h"
#include "television/kinds.h"

// Operations on the contents of messages. A failed operation returns a negative error number, like sd-bus, and the
// caller discards the message.

/// If `step` returns a negative error number, returns this number from the function that contains `NRX_TRY`. A lambda
/// in `step` may use `NRX_TRY` too.
#define NRX_TRY(step) NRX_TRY_NUMBERED(step, __COUNTER__)
#define NRX_TRY_NUMBERED(step, number) NRX_TRY_AS(step, number)
#define NRX_TRY_AS(step, number)                                     \
    do {                                                             \
        if (int const result##number = (step); result##number < 0) { \
            return result##number;                                   \
        }                                                            \
    } while (false)

namespace bus {

/// Calls the function that releases an object of libsystemd.
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
using EventLoop = std::unique_ptr<sd_event, Release<sd_event_unref>>;
using EventSource = std::unique_ptr<sd_event_source, Release<sd_event_source_disable_unref>>;

/// Calls `operation` with the address of a pointer, in which a function of libsystemd stores a new object. Sets
/// `pointer` to this object, or to null if `operation` fails.
template <typename Pointer, typename Operation>
int assignFromOutParameter(Pointer& pointer, Operation const& operation) {
    typename Pointer::pointer made = nullptr;
    int const result = operation(&made);
    pointer.reset(made);
    return result;
}

// Whether the bus carries all texts of a value. The bus carries UTF-8 without zero bytes and without Unicode's
// noncharacters, for example U+FFFE and U+FFFF.
bool hasValidText(std::string_view text);
template <typename Number>
requires std::is_arithmetic_v<Number>
bool hasValidText(Number /*value*/) { return true; }
template <typename T>
bool hasValidText(std::vector<T> const& values) {
    return std::all_of(values.begin(), values.end(), [](T const& value) { return hasValidText(value); });
}

using television::payloadSize;

/// The limit for the sum of `wireSize` of a message's values. A bus with dbus-daemon's built-in limits closes a
/// connection that sends a message of more than 32 MiB. The remaining 1 MiB is for the message's header and containers.
constexpr std::size_t MAX_MESSAGE_BYTES = std::size_t{31} * 1024 * 1024;

// An upper bound of a value's bytes in a message, including the lengths, the terminating zeros and the padding.
template <typename Number>
requires std::is_arithmetic_v<Number> std::size_t wireSize(Number /*value*/) {
    // A number of more than 4 bytes may need padding before the number. A shorter number needs no padding, because all
    // numbers have at least 4 bytes and the size of a text includes padding to a multiple of 4 bytes.
    return sizeof(Number) > 4 ? 2 * sizeof(Number) : sizeof(Number);
}
std::size_t wireSize(std::string const& value);
std::size_t wireSize(objbus::Argument const& argument);
std::size_t wireSize(objbus::TableSelection const& selection);
std::size_t wireSize(objbus::TableOrder const& order);
template <typename T>
std::size_t wireSize(std::vector<T> const& values) {
    std::size_t size = 8;  // The length of the list, and the padding before the first element.
    if constexpr (std::is_arithmetic_v<T>) {
        return size + values.size() * sizeof(T);
    } else {
        for (T const& value : values) {
            size += wireSize(value);
        }
        return size;
    }
}
/// The sum of `wireSize` of several values.
template <typename... Values>
std::size_t totalWireSize(Values const&... values) {
    return (std::size_t{0} + ... + wireSize(values));
}

/// The type of a number in sd-bus's operations.
template <typename Number>
using WireNumber = std::conditional_t<std::is_same_v<Number, long long>, std::int64_t, Number>;

/// The D-Bus type of a number.
template <typename Number>
constexpr char NUMBER_TYPE = television::PlainKindTraits<Number>::SIGNATURE[0];
template <>
inline constexpr char NUMBER_TYPE<unsigned int> = SD_BUS_TYPE_UINT32;

/// Converts the result of a read operation: 0, which means the end of the message, becomes an error.
inline int endOfMessageToError(int readResult) { return readResult == 0 ? -ENXIO : readResult; }

// Appends one value. Returns `-EILSEQ` for a text that the bus does not carry, and `-EMSGSIZE` for a value of more than
// `MAX_MESSAGE_BYTES`.
template <typename Number>
requires std::is_arithmetic_v<Number>
int append(sd_bus_message* message, Number value) {
    WireNumber<Number> const number = value;
    return sd_bus_message_append_basic(message, NUMBER_TYPE<Number>, &number);
}
template <typename Number>
requires std::is_arithmetic_v<Number>
int append(sd_bus_message* message, std::vector<Number> const& values) {
    if (wireSize(values) > MAX_MESSAGE_BYTES) {
        return -EMSGSIZE;
    }
    return sd_bus_message_append_array(message, NUMBER_TYPE<Number>, values.data(), values.size() * sizeof(Number));
}
int append(sd_bus_message* message, std::string const& value);
int append(sd_bus_message* message, std::vector<std::string> const& values);
int append(sd_bus_message* message, std::vector<std::vector<std::string>> const& rows);
int append(sd_bus_message* message, std::vector<objbus::Argument> const& arguments);
int append(sd_bus_message* message, std::vector<objbus::TableSelection> const& selections);
int append(sd_bus_message* message, std::vector<objbus::TableOrder> const& orders);

/// Appends several values. Returns `-EMSGSIZE` if the values together have more than `MAX_MESSAGE_BYTES`.
template <typename... Values>
int appendAll([[maybe_unused]] sd_bus_message* message, Values const&... values) {
    int result = totalWireSize(values...) > MAX_MESSAGE_BYTES ? -EMSGSIZE : 0;
    static_cast<void>(((result >= 0 && (result = append(message, values)) >= 0) && ...));
    return result;
}

// Reads one value. Fails if the next value of the message has another type. Returns `-EMSGSIZE` for a value of more
// than `MAX_MESSAGE_BYTES`.
template <typename Number>
requires std::is_arithmetic_v<Number>
int read(sd_bus_message* message, Number& value) {
    WireNumber<Number> number{};
    NRX_TRY(endOfMessageToError(sd_bus_message_read_basic(message, NUMBER_TYPE<Number>, &number)));
    value = number;
    return 1;
}
template <typename Number>
requires std::is_arithmetic_v<Number>
int read(sd_bus_message* message, std::vector<Number>& values) {
    void const* numbers = nullptr;
    std::size_t size = 0;
    NRX_TRY(endOfMessageToError(sd_bus_message_read_array(message, NUMBER_TYPE<Number>, &numbers, &size)));
    if (wireSize(std::vector<Number>()) + size > MAX_MESSAGE_BYTES) {
        return -EMSGSIZE;
    }
    auto const* const first = static_cast<Number const*>(numbers);
    values.assign(first, first + size / sizeof(Number));
    return 1;
}
int read(sd_bus_message* message, std::string& value);
int read(sd_bus_message* message, std::vector<std::string>& values);
int read(sd_bus_message* message, std::vector<std::vector<std::string>>& rows);
int read(sd_bus_message* message, std::vector<objbus::Argument>& arguments);
int read(sd_bus_message* message, std::vector<objbus::TableSelection>& selections);
int read(sd_bus_message* message, std::vector<objbus::TableOrder>& orders);

/// Reads several values. Returns `-EMSGSIZE` if the values together have more than `MAX_MESSAGE_BYTES`.
template <typename... Values>
int readAll([[maybe_unused]] sd_bus_message* message, Values&... values) {
    int result = 0;
    static_cast<void>((((result = read(message, values)) >= 0) && ...));
    return result >= 0 && totalWireSize(values...) > MAX_MESSAGE_BYTES ? -EMSGSIZE : result;
}

/// Opens a container, calls `appendContents`, and closes the container.
template <typename AppendContents>
int appendContainer(sd_bus_message* message, char type, char const* contents, AppendContents const& appendContents) {
    NRX_TRY(sd_bus_message_open_container(message, type, contents));
    NRX_TRY(appendContents());
    return sd_bus_message_close_container(message);
}
/// Enters a container, calls `readContents`, and leaves the container.
template <typename ReadContents>
int readContainer(sd_bus_message* message, char type, char const* contents, ReadContents const& readContents) {
    NRX_TRY(endOfMessageToError(sd_bus_message_enter_container(message, type, contents)));
    NRX_TRY(readContents());
    return sd_bus_message_exit_container(message);
}
/// Enters a dictionary whose entries have the signature `entry`, and calls `readEntry` inside each entry.
template <typename ReadEntry>
int readDictionary(sd_bus_message* message, char const* entry, ReadEntry const& readEntry) {
    return readContainer(message, SD_BUS_TYPE_ARRAY, ("{" + std::string(entry) + "}").c_str(), [&] {
        while (sd_bus_message_at_end(message, 0) == 0) {
            NRX_TRY(readContainer(message, SD_BUS_TYPE_DICT_ENTRY, entry, readEntry));
        }
        return 0;
    });
}

// Appends or reads a property's value inside a variant.
template <typename T>
int appendVariant(sd_bus_message* message, char const* signature, T const& value) {
    return appendContainer(message, SD_BUS_TYPE_VARIANT, signature, [&] { return append(message, value); });
}
template <typename T>
int readVariant(sd_bus_message* message, char const* signature, T& value) {
    return readContainer(message, SD_BUS_TYPE_VARIANT, signature, [&] { return read(message, value); });
}

/// Makes an event loop. Throws `std::system_error` if the kernel lacks resources.
EventLoop makeEventLoop();

/// Returns the bus's address in NRX_BUS_ADDRESS, or else the session bus's address. Returns an empty text if neither
/// address is known.
std::string findBusAddressInEnvironment();

/// Starts to connect to the bus at the address.
int startBusConnection(Bus& bus, std::string const& address);

}  // namespace bus
