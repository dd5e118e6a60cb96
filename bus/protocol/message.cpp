#include "bus/protocol/message.h"

#include <algorithm>
#include <boost/locale/utf.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <system_error>

namespace bus {

namespace {

namespace utf = boost::locale::utf;

constexpr std::uint64_t REPLY_TIMEOUT_MICROSECONDS = 25'000'000;

constexpr std::size_t padded(std::size_t size, std::size_t alignment) {
    return (size + alignment - 1) / alignment * alignment;
}

/// The size of a structure of eight bytes and a text.
std::size_t sizeWithText(std::string const& text) { return padded(sizeof(std::uint64_t) + wireSize(text), 8); }

/// Appends an array. `appendElement` appends one element.
template <typename Elements, typename AppendElement>
int appendArray(sd_bus_message* message, char const* contents, Elements const& elements,
                AppendElement const& appendElement) {
    if (wireSize(elements) > MAX_MESSAGE_BYTES) {
        return -EMSGSIZE;
    }
    return appendContainer(message, SD_BUS_TYPE_ARRAY, contents, [&] {
        for (auto const& element : elements) {
            NRX_TRY(appendElement(element));
        }
        return 0;
    });
}

/// Reads an array. `readElement` reads one element, or returns 0 if there is no element.
template <typename Element, typename ReadElement>
int readArray(sd_bus_message* message, char const* contents, std::vector<Element>& elements,
              ReadElement const& readElement) {
    return readContainer(message, SD_BUS_TYPE_ARRAY, contents, [&] {
        elements.clear();
        std::size_t size = wireSize(elements);
        while (sd_bus_message_at_end(message, 0) == 0) {
            NRX_TRY(endOfMessageToError(readElement(elements.emplace_back())));
            size += wireSize(elements.back());
            if (size > MAX_MESSAGE_BYTES) {  // The size is checked before the next element takes memory.
                return -EMSGSIZE;
            }
        }
        return 0;
    });
}

int readByte(std::int16_t number, std::int8_t& byte) {
    using Limits = std::numeric_limits<std::int8_t>;
    if (number < Limits::min() || number > Limits::max()) {
        return -ERANGE;
    }
    byte = static_cast<std::int8_t>(number);
    return 1;
}

}  // namespace

bool hasValidText(std::string_view text) {
    char const* at = text.data();
    char const* const end = at + text.size();
    while (at != end) {
        utf::code_point const character = utf::utf_traits<char>::decode(at, end);
        bool const isNoncharacter = (character >= 0xFDD0 && character <= 0xFDEF) || (character & 0xFFFE) == 0xFFFE;
        if (character == 0 || isNoncharacter || !utf::is_valid_codepoint(character)) {
            return false;
        }
    }
    return true;
}

std::size_t wireSize(std::string const& value) { return padded(sizeof(std::uint32_t) + value.size() + 1, 4); }
std::size_t wireSize(objbus::Argument const& argument) { return sizeWithText(argument.value); }
std::size_t wireSize(objbus::TableSelection const& selection) { return sizeWithText(selection.value); }
std::size_t wireSize(objbus::TableOrder const& /*order*/) { return 2 * sizeof(std::int32_t); }

int append(sd_bus_message* message, std::string const& value) {
    if (wireSize(value) > MAX_MESSAGE_BYTES) {
        return -EMSGSIZE;
    }
    return hasValidText(value) ? sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, value.c_str()) : -EILSEQ;
}

int append(sd_bus_message* message, std::vector<std::string> const& values) {
    return appendArray(message, "s", values, [message](auto const& value) { return append(message, value); });
}

int append(sd_bus_message* message, std::vector<std::vector<std::string>> const& rows) {
    return appendArray(message, "as", rows, [message](auto const& row) { return append(message, row); });
}

int append(sd_bus_message* message, std::vector<objbus::Argument> const& arguments) {
    return appendArray(message, "(nnns)", arguments, [message](objbus::Argument const& argument) {
        return !hasValidText(argument.value) ? -EILSEQ
                                             : sd_bus_message_append(message, "(nnns)", argument.tag, argument.index,
                                                                     argument.flags, argument.value.c_str());
    });
}

int append(sd_bus_message* message, std::vector<objbus::TableSelection> const& selections) {
    return appendArray(message, "(iis)", selections, [message](objbus::TableSelection const& selection) {
        return !hasValidText(selection.value) ? -EILSEQ
                                              : sd_bus_message_append(message, "(iis)", selection.first,
                                                                      selection.second, selection.value.c_str());
    });
}

int append(sd_bus_message* message, std::vector<objbus::TableOrder> const& orders) {
    return appendArray(message, "(ii)", orders, [message](objbus::TableOrder const& order) {
        return sd_bus_message_append(message, "(ii)", order.first, order.second);
    });
}

int read(sd_bus_message* message, std::string& value) {
    char const* text = nullptr;
    NRX_TRY(endOfMessageToError(sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &text)));
    value = text;
    return wireSize(value) > MAX_MESSAGE_BYTES ? -EMSGSIZE : 1;
}

int read(sd_bus_message* message, std::vector<std::string>& values) {
    return readArray(message, "s", values, [message](std::string& value) { return read(message, value); });
}

int read(sd_bus_message* message, std::vector<std::vector<std::string>>& rows) {
    return readArray(message, "as", rows, [message](auto& row) { return read(message, row); });
}

int read(sd_bus_message* message, std::vector<objbus::Argument>& arguments) {
    return readArray(message, "(nnns)", arguments, [message](objbus::Argument& argument) {
        std::int16_t index = 0;
        std::int16_t flags = 0;
        char const* text = nullptr;
        NRX_TRY(endOfMessageToError(sd_bus_message_read(message, "(nnns)", &argument.tag, &index, &flags, &text)));
        argument.value = text;
        NRX_TRY(readByte(index, argument.index));
        return readByte(flags, argument.flags);
    });
}

int read(sd_bus_message* message, std::vector<objbus::TableSelection>& selections) {
    return readArray(message, "(iis)", selections, [message](objbus::TableSelection& selection) {
        char const* text = nullptr;
        NRX_TRY(endOfMessageToError(sd_bus_message_read(message, "(iis)", &selection.first, &selection.second, &text)));
        selection.value = text;
        return 1;
    });
}

int read(sd_bus_message* message, std::vector<objbus::TableOrder>& orders) {
    return readArray(message, "(ii)", orders, [message](objbus::TableOrder& order) {
        return sd_bus_message_read(message, "(ii)", &order.first, &order.second);
    });
}

EventLoop makeEventLoop() {
    EventLoop loop;
    if (int const result = assignFromOutParameter(loop, sd_event_new); result < 0) {
        throw std::system_error(-result, std::generic_category(), "the event loop of the bus");
    }
    return loop;
}

std::string findBusAddressInEnvironment() {
    for (char const* const name : {"NRX_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"}) {
        if (char const* const address = std::getenv(name); address != nullptr && *address != '\0') {
            return address;
        }
    }
    char const* const directory = std::getenv("XDG_RUNTIME_DIR");
    if (directory == nullptr) {
        return {};
    }
    std::string address = "unix:path=";
    for (char const byte : std::string_view(directory)) {
        std::string const escaped = byte == '%' ? "%25" : byte == ',' ? "%2c" : byte == ';' ? "%3b" : "";
        address += escaped.empty() ? std::string(1, byte) : escaped;
    }
    return address + "/bus";
}

int startBusConnection(Bus& bus, std::string const& address) {
    NRX_TRY(assignFromOutParameter(bus, sd_bus_new));
    NRX_TRY(sd_bus_set_address(bus.get(), address.c_str()));
    NRX_TRY(sd_bus_set_bus_client(bus.get(), 1));
    // If no timeout is set, sd-bus reads one from the environment, which is unsafe while another thread changes the
    // environment.
    NRX_TRY(sd_bus_set_method_call_timeout(bus.get(), REPLY_TIMEOUT_MICROSECONDS));
    return sd_bus_start(bus.get());
}

}  // namespace bus
