#include "bus/protocol/contract.h"

#include <algorithm>

#include "television/environment.h"
#include "television/status.h"

namespace bus {

namespace {

constexpr std::string_view HEXADECIMAL = "0123456789abcdef";
constexpr std::string_view EMPTY_ELEMENT = "_";

bool isPlain(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9');
}

/// Whether two hexadecimal digits are at the position. A "_" before them begins an escape.
bool hasDigitsAt(std::string_view text, std::size_t position) {
    return position + 1 < text.size() && HEXADECIMAL.find(text[position]) != std::string_view::npos &&
           HEXADECIMAL.find(text[position + 1]) != std::string_view::npos;
}

std::string escapeElement(std::string_view word) {
    std::string element;
    for (std::size_t at = 0; at < word.size(); ++at) {
        char const byte = word[at];
        if (isPlain(byte) || (byte == '_' && !hasDigitsAt(word, at + 1) && word != EMPTY_ELEMENT)) {
            element += byte;
        } else {
            auto const code = static_cast<unsigned char>(byte);
            element += {'_', HEXADECIMAL[code / 16], HEXADECIMAL[code % 16]};
        }
    }
    return element.empty() ? std::string(EMPTY_ELEMENT) : element;
}

std::string unescapeElement(std::string_view element) {
    std::string word;
    if (element == EMPTY_ELEMENT) {
        return word;
    }
    for (std::size_t at = 0; at < element.size(); ++at) {
        if (element[at] == '_' && hasDigitsAt(element, at + 1)) {
            word += static_cast<char>(HEXADECIMAL.find(element[at + 1]) * 16 + HEXADECIMAL.find(element[at + 2]));
            at += 2;
        } else {
            word += element[at];
        }
    }
    return word;
}

/// Splits the text at the separator, converts each part, and joins the parts with `newSeparator`.
template <typename Change>
std::string convertParts(std::string_view text, char separator, char newSeparator, Change const& convert) {
    std::string result;
    for (std::size_t begin = 0; begin <= text.size();) {
        std::size_t const end = std::min(text.find(separator, begin), text.size());
        result += (begin == 0 ? "" : std::string(1, newSeparator)) + convert(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return result;
}

}  // namespace

std::string pathOf(std::string_view key) {
    return std::string(MODEL_PATH) + '/' + convertParts(key, '.', '/', escapeElement);
}

std::optional<std::string> keyOf(std::string_view path) {
    std::string const begin = std::string(MODEL_PATH) + '/';
    if (!path.starts_with(begin)) {
        return {};
    }
    std::string key = convertParts(path.substr(begin.size()), '/', '.', unescapeElement);
    return pathOf(key) == path ? std::optional(std::move(key))
                               : std::nullopt;  // A path with a needless escape has no key.
}

bool isFromBus(sd_bus_message* message) {
    char const* const sender = sd_bus_message_get_sender(message);
    return sender != nullptr && sender == std::string_view(BUS_NAME);
}

int setStatusError(sd_bus_error* error, int status) {
    return sd_bus_error_set(error, STATUS_ERROR, std::to_string(status).c_str());
}

int statusOfError(sd_bus_error const& error) {
    if (sd_bus_error_has_name(&error, STATUS_ERROR) != 0) {
        int const status = television::parseNumber<int>(error.message != nullptr ? error.message : "").value_or(0);
        return status != television::STATUS_OK ? status : static_cast<int>(television::STATUS_NOT_UNDERSTOOD);
    }
    struct Meaning {
        char const* error;
        int status;
    };
    constexpr Meaning MEANINGS[] = {
        {SD_BUS_ERROR_SERVICE_UNKNOWN, television::STATUS_NO_TELEVISION},
        {SD_BUS_ERROR_NAME_HAS_NO_OWNER, television::STATUS_NO_TELEVISION},
        {SD_BUS_ERROR_UNKNOWN_OBJECT, television::STATUS_NOT_PUBLISHED},
        {SD_BUS_ERROR_UNKNOWN_INTERFACE, television::STATUS_NOT_PUBLISHED},
        {SD_BUS_ERROR_UNKNOWN_METHOD, television::STATUS_NOT_PUBLISHED},
        {SD_BUS_ERROR_UNKNOWN_PROPERTY, television::STATUS_NOT_PUBLISHED},
        {SD_BUS_ERROR_ACCESS_DENIED, television::STATUS_DENIED},
        {SD_BUS_ERROR_LIMITS_EXCEEDED, television::STATUS_DENIED},
        {SD_BUS_ERROR_NO_REPLY, television::STATUS_NO_ANSWER},
        {SD_BUS_ERROR_TIMEOUT, television::STATUS_NO_ANSWER},
    };
    for (Meaning const& meaning : MEANINGS) {
        if (sd_bus_error_has_name(&error, meaning.error) != 0) {
            return meaning.status;
        }
    }
    return television::STATUS_NOT_UNDERSTOOD;
}

}  // namespace bus
