#pragma once

#include <string_view>

#include "fuzz/harness.h"

// The contents of messages as trees of items, made from the input.

namespace fuzz {

/// One value: its D-Bus signature, and its number, its text or its contained items.
struct MessageItem {
    std::string type;
    long long number = 0;
    std::string text{};
    std::vector<MessageItem> items{};

    bool operator==(MessageItem const& other) const = default;
    [[nodiscard]] bool isText() const { return type == "s" || type == "o" || type == "g"; }
    [[nodiscard]] bool isContainer() const { return std::string_view("a({v").find(type[0]) != std::string_view::npos; }
};

constexpr char const* BASIC_TYPES[] = {"y", "b", "n", "q", "i", "u", "x", "t", "d", "s", "o", "g"};
constexpr char const* ITEM_TYPES[] = {"i",       "u",      "x",     "s",     "ai",   "as",     "aas",
                                      "a(nnns)", "a(iis)", "a(ii)", "a{sv}", "(iv)", "a{oas}", "v"};
constexpr char INTEGER_INTERFACE[] = "nrx.Television1.Integer";
constexpr char STRING_INTERFACE[] = "nrx.Television1.String";
constexpr char const* TEXTS[] = {
    "", "Value", "Other", "a{sv}", "/a", INTEGER_INTERFACE, "\xf0\x9f\x93\xba", "\xef\xbf\xbf", STRING_INTERFACE};

inline std::string makeText(Bytes& bytes) { return bytes.nextBool() ? bytes.pick(TEXTS) : bytes.text(40); }

/// Splits a signature without nested structures into its complete types.
inline Strings typesOf(std::string_view signature) {
    Strings types;
    for (; !signature.empty(); signature.remove_prefix(types.back().size())) {
        std::size_t const begin = signature.find_first_not_of('a');
        std::size_t const end = signature[begin] == '('   ? signature.find(')')
                                : signature[begin] == '{' ? signature.find('}')
                                                          : begin;
        types.emplace_back(signature.substr(0, end + 1));
    }
    return types;
}

/// Makes a value of the type.
inline MessageItem makeItem(Bytes& bytes, std::string_view type) {
    MessageItem item{std::string(type)};
    if (type[0] == 'a') {
        item.items = bytes.makeList(bytes.number<std::size_t>(0, 4), [&] { return makeItem(bytes, type.substr(1)); });
    } else if (type[0] == 'v') {
        item.items = {makeItem(bytes, bytes.nextBool() ? bytes.pick(ITEM_TYPES) : bytes.pick(BASIC_TYPES))};
    } else if (item.isContainer()) {
        for (std::string const& inner : typesOf(type.substr(1, type.size() - 2))) {
            item.items.push_back(makeItem(bytes, inner));
        }
    } else if (item.isText()) {
        item.text = makeText(bytes);
    } else {
        item.number = bytes.nextBool() ? bytes.number(-129, 128) : bytes.number<long long>();
    }
    return item;
}

/// Changes an item below `root`. The result may be inconsistent.
inline void mutate(Bytes& bytes, MessageItem& root) {
    MessageItem* in = nullptr;
    MessageItem* at = &root;
    do {
        in = std::exchange(at, &bytes.pick(at->items));
    } while (!at->items.empty() && bytes.nextBool());
    bytes.runOneOf([&] { *at = makeItem(bytes, bytes.pick(ITEM_TYPES)); },
                   [&] {
                       *at = MessageItem{bytes.nextBool() ? "v" : "a", 0, "", {*at}};
                   },
                   [&] { in->items.erase(in->items.begin() + (at - in->items.data())); },
                   [&] { std::swap(*at, in->items[0]); },
                   [&] {  // A list of lists must not become long in both dimensions.
                       std::size_t const more = bytes.number<std::size_t>(1, at->items.empty() ? 300 : 2);
                       in->items.resize(in->items.size() + more, MessageItem(*at));
                   },
                   [&] { at->text += makeText(bytes); },
                   [&] { at->type = at->isContainer() ? at->type : bytes.pick(BASIC_TYPES); });
}

/// Makes the item's type, text and number agree with each other and with the inner items.
inline void makeConsistent(MessageItem& item) {
    std::string types;
    for (MessageItem& inner : item.items) {
        makeConsistent(inner);
        types += inner.type;
    }
    char const first = item.type[0];
    if (first == 'a' && !item.items.empty()) {
        item.type = 'a' + item.items[0].type;
        std::erase_if(item.items, [&item](MessageItem const& inner) { return 'a' + inner.type != item.type; });
    } else if (first == '(' || first == '{') {
        item.type = first + types + (first == '(' ? ')' : '}');
    }
    item.text = item.isText() ? item.text : "";
    item.number = item.isText()  ? 0
                  : first == 'n' ? static_cast<std::int16_t>(item.number)
                  : first == 'i' ? static_cast<std::int32_t>(item.number)
                  : first == 'u' ? static_cast<std::uint32_t>(item.number)
                                 : item.number;
}

/// Makes arguments with the signature, and then changes up to three items. A change may also change the signature.
inline MessageItem makeMutatedArguments(Bytes& bytes, std::string_view signature) {
    MessageItem root = makeItem(bytes, '(' + std::string(signature) + ')');
    for (int count = bytes.number(0, 3); count > 0 && !root.items.empty(); --count) {
        mutate(bytes, root);
    }
    makeConsistent(root);
    return root;
}

}  // namespace fuzz
