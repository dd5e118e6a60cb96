// Lets the platform library read and handle messages with random content, and append random values. For each message, a
// tree of items holds the expected content.

#include "bus/client/failure.h"
#include "fuzz/bus_messages.h"
#include "television/status.h"

namespace fuzz {

void checkNotifications(Bytes& bytes);  // bus_notifications.cpp

namespace {

using Values = std::tuple<int, unsigned int, long long, std::string, std::vector<int>, Strings, std::vector<Strings>,
                          std::vector<Argument>, std::vector<TableSelection>, std::vector<TableOrder>>;

/// Checks that only a value of the type `T` is read, and that the value replaces the value of an earlier read.
template <typename T>
void checkRead(sd_bus_message* message, MessageItem const& item, T& kept) {
    std::string const type = itemOf(T{}).type;
    bool const isValue = isReadAs(item, type);
    expect((bus::read(message, kept) >= 0) == isValue, "a value of the type is read");
    expect(!isValue || itemOf(kept) == item, "what was sent is read");
    sd_bus_message_rewind(message, 1);
    bool const isVariant = item.type == "v" && isReadAs(item.items[0], type);
    expect((bus::readVariant(message, type.c_str(), kept) >= 0) == isVariant, "a variant with the type is read");
    expect(!isVariant || itemOf(kept) == item.items[0], "what was sent in a variant is read");
    sd_bus_message_rewind(message, 1);
}

void checkReads(Bytes& bytes) {
    Values kept;
    while (bytes.isLeft()) {
        MessageItem const root = makeMutatedArguments(bytes, bytes.pick(ITEM_TYPES));
        if (auto const message = makeMessage(NOTIFICATION_SIGNALS[0], false, root); message && !root.items.empty()) {
            std::apply([&](auto&... values) { (checkRead(message.get(), root.items[0], values), ...); }, kept);
        }
    }
}

void fill(Bytes& bytes, std::string& value) { value = makeText(bytes); }
void fill(Bytes& bytes, std::integral auto& value) { value = bytes.number<std::remove_reference_t<decltype(value)>>(); }
template <typename T>
void fill(Bytes& bytes, T& value) {
    std::apply([&bytes](auto&... fields) { (fill(bytes, fields), ...); }, fieldsOf(value));
}
template <typename T>
void fill(Bytes& bytes, std::vector<T>& values) {
    values.resize(bytes.number<std::size_t>(0, 4));
    std::for_each(values.begin(), values.end(), [&bytes](T& value) { fill(bytes, value); });
}

/// Checks that a value is appended with the D-Bus type that the interface declares, and that a read returns the same
/// value.
template <typename T>
void checkAppend(Bytes& bytes, T& value) {
    fill(bytes, value);
    MessageItem const item = itemOf(value);
    auto const message = makeMessage(NOTIFICATION_SIGNALS[0], false, [&](sd_bus_message* made) {
        int const result = bus::append(made, value);
        expect(result >= 0 || result == -EILSEQ, "only a text is refused");
        return result < 0 ? result : bus::appendVariant(made, item.type.c_str(), value);
    });
    expect((message != nullptr) == hasValidText(item), "what the bus carries, and nothing else, is appended");
    if (message) {
        T read{};
        T readFromVariant{};
        expect(sd_bus_message_get_signature(message.get(), 1) == item.type + 'v', "a value has its type");
        expect(bus::read(message.get(), read) >= 0 && itemOf(read) == item, "a value is read");
        expect(
            bus::readVariant(message.get(), item.type.c_str(), readFromVariant) >= 0 && itemOf(readFromVariant) == item,
            "a value is read from its variant");
    }
}

void checkAppends(Bytes& bytes) {
    Values all;
    std::apply([&](auto&... values) { (checkAppend(bytes, values), ...); }, all);
}

/// Returns the status that the text states, or `STATUS_NOT_UNDERSTOOD` if the text is not a status.
int statusIn(std::string const& text) {
    char* end = nullptr;
    long long const number = std::strtoll(text.c_str(), &end, 10);
    bool const isNumber = *end == '\0' && text.find_first_not_of("-0123456789") == std::string::npos;
    bool const isStatus = isNumber && number != 0 && number == static_cast<int>(number);
    return isStatus ? static_cast<int>(number) : static_cast<int>(television::STATUS_NOT_UNDERSTOOD);
}

/// Returns the encoding of a character code. The code is often near a limit of the valid codes. The encoding has a
/// random length of one to four bytes, which may be too short or too long for the code.
std::string makeCode(Bytes& bytes) {
    constexpr int EDGES[] = {0x80, 0x800, 0xD800, 0xE000, 0xFDD0, 0xFDF0, 0xFFFE, 0x10000, 0x1FFFE, 0x10FFFE, 0x110000};
    int const code = bytes.nextBool() ? bytes.pick(EDGES) + bytes.number(-2, 2) : bytes.number(0, 0x1FFFFF);
    int const more = bytes.number(0, 3);
    int const lead = more == 0 ? code & 0x7F : (0xF0 << (3 - more) & 0xFF) | (code >> 6 * more & 0x3F >> more);
    std::string text(1, static_cast<char>(lead));
    for (int left = more - 1; left >= 0; --left) {
        text += static_cast<char>(0x80 | (code >> 6 * left & 0x3F));
    }
    return text;
}

void checkTexts(Bytes& bytes) {
    int const status = bytes.number<int>();
    sd_bus_error made{};
    expect(bus::setStatusError(&made, status) < 0, "an error is made");
    expect(bus::statusOfError(made) == statusIn(std::to_string(status)), "a status returns from its error");
    sd_bus_error_free(&made);
    std::string const text = (bytes.nextBool() ? makeCode(bytes) : "") + bytes.ConsumeRandomLengthString();
    expect(bus::hasValidText(text) == isValidText(text), "the library knows which texts the bus carries");
    std::string const path = bus::pathOf(text);
    expect(sd_bus_object_path_is_valid(path.c_str()) > 0 && bus::keyOf(path) == text, "a key returns from its path");
    for (std::string const& any : {text, bus::MODEL_PATH + text, bus::MODEL_PATH + ('/' + text)}) {
        auto const key = bus::keyOf(any);
        expect(!key || bus::pathOf(*key) == any, "a key has one path");
    }
    sd_bus_error const statusError{bus::STATUS_ERROR, text.c_str(), 0};
    expect(bus::statusOfError(statusError) == statusIn(text.c_str()), "a status is a number");
    sd_bus_error const otherError{text.c_str(), "0", 0};
    expect(bus::statusOfError(otherError) != 0, "no error is a success");
    expect(bus::statusOfSendError(-ENOMEM) == television::STATUS_NO_RESOURCES, "a call without memory has its status");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    constexpr void (*CHECKS[])(fuzz::Bytes&) = {fuzz::checkNotifications, fuzz::checkReads, fuzz::checkAppends,
                                                fuzz::checkTexts};
    fuzz::Bytes bytes(data, size);
    bytes.pick(CHECKS)(bytes);
    return 0;
}
