#include "television/printable.h"

#include <algorithm>
#include <array>
#include <boost/locale/utf.hpp>
#include <cstdio>
#include <utility>

namespace television {

namespace {

namespace utf = boost::locale::utf;

/// Whether the character controls the terminal, changes the direction of the text or separates lines.
bool steers(utf::code_point character) {
    constexpr std::pair<utf::code_point, utf::code_point> RANGES[] = {
        {0x00, 0x1F}, {0x7F, 0x9F}, {0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069},
    };
    return std::any_of(std::begin(RANGES), std::end(RANGES), [character](auto const& range) {
        return character >= range.first && character <= range.second;
    });
}

void appendEscaped(std::string& line, char byte) {
    constexpr std::pair<char, char> NAMED[] = {{'\n', 'n'}, {'\r', 'r'}, {'\t', 't'}};
    for (auto const& [named, name] : NAMED) {
        if (byte == named) {
            line += {'\\', name};
            return;
        }
    }
    std::array<char, 5> escape{};
    std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
    line += escape.data();
}

/// Returns the printable text with a backslash before each character of `marked`.
std::string shown(std::string_view text, std::string_view marked) {
    std::string line;
    for (char const *at = text.data(), *const end = at + text.size(); at != end;) {
        char const* next = at;
        utf::code_point const character = utf::utf_traits<char>::decode(next, end);
        if (!utf::is_valid_codepoint(character)) {
            appendEscaped(line, *at++);
        } else if (steers(character)) {
            std::for_each(at, next, [&line](char byte) { appendEscaped(line, byte); });
            at = next;
        } else {
            line += marked.find(*at) != std::string_view::npos ? "\\" : "";
            line.append(at, next);
            at = next;
        }
    }
    return line;
}

}  // namespace

std::string printable(std::string_view text) { return shown(text, ""); }

std::string quoted(std::string_view text) { return '"' + shown(text, "\"\\") + '"'; }

std::string typed(std::string const& text) {
    std::string const shown = quoted(text);
    bool const isPlain = !text.empty() && shown.size() == text.size() + 2 &&
                         text.find_first_of(" \t\r") == std::string::npos && text.front() != '#';
    return isPlain ? text : shown;
}

std::string shortened(std::string text, std::size_t most) {
    if (text.size() <= most) {
        return text;
    }
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0U) == 0x80) {  // Do not cut inside a character.
        --most;
    }
    return text.substr(0, most) + "...";
}

}  // namespace television
