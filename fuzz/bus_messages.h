#pragma once

#include <sys/socket.h>

#include <concepts>

#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "fuzz/bus_items.h"

// Messages with random content, some of which no bus delivers, and the values that the platform library must read.

namespace fuzz {

using namespace objbus;

struct MessageMember {
    char const* interface;
    char const* name;
    std::string_view signature;
};
constexpr char CHANGE[] = "PropertiesChanged";
constexpr MessageMember NOTIFICATION_SIGNALS[] = {
    {bus::PROPERTIES_INTERFACE, CHANGE, "sa{sv}as"},  {bus::ACTION_INTERFACE, "Result", "ua(nnns)"},
    {bus::ACTION_INTERFACE, "ExecutionError", "ui"},  {bus::TABLE_INTERFACE, "Updated", "i"},
    {bus::ITERATOR_INTERFACE, "Ready", "i"},          {bus::ITERATOR_INTERFACE, "TotalCount", "i"},
    {bus::ITERATOR_INTERFACE, "RowSought", "i"},      {bus::ITERATOR_INTERFACE, "ContentSought", "i"},
    {bus::ITERATOR_INTERFACE, "CursorMoved", "i"},    {bus::ITERATOR_INTERFACE, "RowRead", "as"},
    {bus::ITERATOR_INTERFACE, "RowChunkRead", "aas"}, {bus::ITERATOR_INTERFACE, "Committed", "i"},
    {bus::ITERATOR_INTERFACE, "Updated", "i"},
};

/// Makes a message with the content from `append`. The message can be read like a received message. Returns null if
/// `append` fails.
template <typename Append>
bus::Message makeMessage(MessageMember const& member, bool isMethodCall, Append const& append) {
    static bus::Bus const local = [] {
        int ends[2]{};
        sd_bus* made = nullptr;
        expect(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 && sd_bus_new(&made) >= 0 &&
                   sd_bus_set_fd(made, ends[0], ends[0]) >= 0 && sd_bus_start(made) >= 0,
               "a bus is made");
        return bus::Bus(made);
    }();
    constexpr char PATH[] = "/nrx/Television1/model/a";
    sd_bus_message* made = nullptr;
    isMethodCall ? sd_bus_message_new_method_call(local.get(), &made, nullptr, PATH, member.interface, member.name)
                 : sd_bus_message_new_signal(local.get(), &made, PATH, member.interface, member.name);
    bus::Message message(made);
    expect(message != nullptr, "a message is made");
    bool const isWhole = append(made) >= 0 && sd_bus_message_seal(made, 1, 0) >= 0;
    return isWhole && sd_bus_message_rewind(made, 1) >= 0 ? std::move(message) : bus::Message();
}

/// Appends the text without a check, so that the message may contain a text that sd-bus refuses to read.
inline int appendText(sd_bus_message* message, std::string const& text) {
    char* space = nullptr;
    int const result = sd_bus_message_append_string_space(message, text.size(), &space);
    result < 0 ? space : std::copy(text.begin(), text.end(), space);
    return result;
}

inline int appendItem(sd_bus_message* message, MessageItem const& item, int depth = 0) {
    char const first = item.type[0];
    if (item.type == "s") {
        return appendText(message, item.text);
    }
    // A shorter type reads the first bytes of `number`, which are the low bytes on a little-endian processor.
    if (!item.isContainer()) {
        void const* const value = item.isText() ? static_cast<void const*>(item.text.c_str()) : &item.number;
        return sd_bus_message_append_basic(message, first, value);
    }
    if (depth > 60 || (item.items.empty() && first != 'a')) {  // No bus delivers deeper nesting.
        return -EINVAL;
    }
    std::string const contents = first == 'v'   ? item.items[0].type
                                 : first == 'a' ? item.type.substr(1)
                                                : item.type.substr(1, item.type.size() - 2);
    char const kind = first == '(' ? char{SD_BUS_TYPE_STRUCT} : first == '{' ? char{SD_BUS_TYPE_DICT_ENTRY} : first;
    int result = sd_bus_message_open_container(message, kind, contents.c_str());
    for (auto inner = item.items.begin(); result >= 0 && inner != item.items.end(); ++inner) {
        result = appendItem(message, *inner, depth + 1);
    }
    return result < 0 ? result : sd_bus_message_close_container(message);
}

inline bus::Message makeMessage(MessageMember const& member, bool isMethodCall, MessageItem const& root) {
    return makeMessage(member, isMethodCall, [&root](sd_bus_message* made) {
        auto const fails = [made](MessageItem const& item) { return appendItem(made, item) < 0; };
        return std::any_of(root.items.begin(), root.items.end(), fails) ? -1 : 0;
    });
}

/// Whether sd-bus accepts the text when it reads a message. sd-bus accepts every ASCII text without zero bytes.
inline bool isValidText(std::string const& text) {
    if (std::all_of(text.begin(), text.end(), [](char byte) { return byte > 0; })) {
        return true;
    }
    char const* read = nullptr;
    auto const message =
        makeMessage(NOTIFICATION_SIGNALS[0], false, [&](auto* made) { return appendText(made, text); });
    return message && sd_bus_message_read_basic(message.get(), 's', &read) > 0;
}

inline bool hasValidText(MessageItem const& item) {
    return (item.type != "s" || isValidText(item.text)) &&
           std::all_of(item.items.begin(), item.items.end(), hasValidText);
}

/// Whether the library reads the item as a value of the type. An argument's index and flags must fit into bytes.
inline bool isReadAs(MessageItem const& item, std::string_view type) {
    auto const hasBytes = [](MessageItem const& argument) {
        return std::all_of(argument.items.begin() + 1, argument.items.begin() + 3,
                           [](MessageItem const& byte) { return byte.number >= -128 && byte.number <= 127; });
    };
    return item.type == type && hasValidText(item) &&
           (type != "a(nnns)" || std::all_of(item.items.begin(), item.items.end(), hasBytes));
}

// `itemOf` converts a value of the platform to a `MessageItem`. `fieldsOf` names the fields of a structure.

inline auto fieldsOf(Argument& value) { return std::tie(value.tag, value.index, value.flags, value.value); }
inline auto fieldsOf(TableSelection& value) { return std::tie(value.first, value.second, value.value); }
inline auto fieldsOf(TableOrder& value) { return std::tie(value.first, value.second); }

inline MessageItem itemOf(std::string const& value) { return {"s", 0, value}; }
template <std::integral T>
MessageItem itemOf(T value) {
    return {sizeof(T) < 4 ? "n" : sizeof(T) > 4 ? "x" : std::is_signed_v<T> ? "i" : "u", value};
}
template <typename T>
MessageItem itemOf(T value) {
    MessageItem item{"()"};
    std::apply([&item](auto const&... fields) { item.items = {itemOf(fields)...}; }, fieldsOf(value));
    makeConsistent(item);
    return item;
}
template <typename T>
MessageItem itemOf(std::vector<T> const& values) {
    MessageItem item{'a' + itemOf(T{}).type};
    std::transform(values.begin(), values.end(), std::back_inserter(item.items),
                   [](T const& one) { return itemOf(one); });
    return item;
}

}  // namespace fuzz
