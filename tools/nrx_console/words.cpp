#include "tools/nrx_console/words.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "television/printable.h"

namespace nrx_console {

namespace {

constexpr std::string_view BLANKS = " \t\r";

/// Takes the rest of an escape, whose backslash is taken already.
char escapedByte(std::string_view& rest) {
    constexpr std::string_view NAMES = "nrt\"\\";
    constexpr std::string_view NAMED = "\n\r\t\"\\";
    if (auto const index = NAMES.find(rest.front()); index != std::string_view::npos) {
        rest.remove_prefix(1);
        return NAMED[index];
    }
    unsigned char byte = 0;
    char const* const digits = rest.data() + 1;
    if (rest.front() == 'x' && rest.size() > 2 && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
        rest.remove_prefix(3);
        return static_cast<char>(byte);
    }
    throw unexpected("\\" + std::string(1, rest.front()), R"(\n, \r, \t, \", \\ or \xHH)");
}

/// Takes a word in quotes, whose first quote is taken already.
std::string quotedWord(std::string_view& rest) {
    std::string word;
    while (!rest.empty()) {
        char const next = rest.front();
        rest.remove_prefix(1);
        if (next == '"') {
            return word;
        }
        word += next == '\\' && !rest.empty() ? escapedByte(rest) : next;
    }
    throw CommandError("found a quote that does not end, expected \"");
}

}  // namespace

CommandError unexpected(std::string const& found, std::string const& expected) {
    // NOLINTNEXTLINE(modernize-return-braced-init-list): the constructor is explicit.
    return CommandError("found " + television::quoted(found) + ", expected " + expected);
}

Words wordsOf(std::string_view line) {
    Words words;
    while (true) {
        line.remove_prefix(std::min(line.find_first_not_of(BLANKS), line.size()));
        if (line.empty()) {
            return words;
        }
        if (line.front() == '"') {
            line.remove_prefix(1);
            words.push_back(quotedWord(line));
        } else {
            words.emplace_back(line.substr(0, line.find_first_of(BLANKS)));
            line.remove_prefix(words.back().size());
        }
    }
}

std::size_t lastWordOf(std::string_view line) {
    std::size_t begin = 0;
    bool inWord = false;
    bool inQuotes = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        bool const isBlank = BLANKS.find(line[at]) != std::string_view::npos;
        if (inQuotes) {
            if (line[at] == '\\') {
                ++at;  // What follows ends nothing.
            } else {
                inQuotes = line[at] != '"';
            }
            inWord = inQuotes;  // Another word may follow without a blank.
        } else if (isBlank) {
            inWord = false;
            begin = at + 1;
        } else if (!inWord) {
            inWord = true;
            inQuotes = line[at] == '"';
            begin = at;
        }
    }
    return begin;
}

std::string typed(Words const& words) {
    std::string line;
    for (std::string const& word : words) {
        line += (line.empty() ? "" : " ") + typed(word);
    }
    return line;
}

std::string keyOf(std::string const& word) {
    if (word == "command") {
        return orvane::model_keys::COMMAND;
    }
    return word == "event" ? orvane::model_keys::EVENT : word;
}

bool isSwitchedOn(std::string const& word) {
    if (word != "on" && word != "off") {
        throw unexpected(word, "on or off");
    }
    return word == "on";
}

int numberOf(std::string const& word) {
    using Limits = std::numeric_limits<int>;
    int number = 0;
    char const* const end = word.data() + word.size();
    auto const [last, failure] = std::from_chars(word.data(), end, number);
    if (failure != std::errc() || last != end) {
        throw unexpected(
            word, "a whole number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max()));
    }
    return number;
}

std::vector<objbus::Argument> argumentsOf(Words const& texts) {
    constexpr std::size_t MOST = std::numeric_limits<std::int8_t>::max() + 1;
    if (texts.size() > MOST) {
        throw CommandError("found " + std::to_string(texts.size()) + " texts, expected " + std::to_string(MOST) +
                           " at most");
    }
    std::vector<objbus::Argument> arguments;
    for (std::string const& text : texts) {
        objbus::Argument argument;
        argument.index = static_cast<std::int8_t>(arguments.size());
        argument.value = text;
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

}  // namespace nrx_console
