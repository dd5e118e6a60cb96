#include "tools/nrx_console/words.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <utility>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "television/environment.h"
#include "television/printable.h"

namespace nrx_console {

namespace {

constexpr std::string_view BLANKS = " \t\r";

/// Consumes the rest of an escape sequence after its backslash.
char consumeEscape(std::string_view& rest) {
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

/// Consumes the rest of a quoted word after its opening quote.
std::string consumeQuoted(std::string_view& rest) {
    std::string word;
    while (!rest.empty()) {
        char const next = rest.front();
        rest.remove_prefix(1);
        if (next == '"') {
            return word;
        }
        word += next == '\\' && !rest.empty() ? consumeEscape(rest) : next;
    }
    throw CommandError("found a quote that does not end, expected \"");
}

void skipBlanks(std::string_view& rest) { rest.remove_prefix(std::min(rest.find_first_not_of(BLANKS), rest.size())); }

/// Consumes the word at the beginning, if any.
std::string consumeWord(std::string_view& rest) {
    bool const isQuoted = rest.starts_with('"');
    std::string word(rest.substr(0, isQuoted ? 1 : rest.find_first_of(BLANKS)));
    rest.remove_prefix(word.size());
    return isQuoted ? consumeQuoted(rest) : word;
}

}  // namespace

CommandError unexpected(std::string const& found, std::string const& expected) {
    // NOLINTNEXTLINE(modernize-return-braced-init-list): the constructor is explicit.
    return CommandError("found " + television::quoted(found) + ", expected " + expected);
}

Words wordsOf(std::string_view line) {
    Words words;
    for (skipBlanks(line); !line.empty(); skipBlanks(line)) {
        words.push_back(consumeWord(line));
    }
    return words;
}

std::vector<Words> rowFromEachWord(Words const& words) {
    std::vector<Words> rows;
    for (std::string const& word : words) {
        try {
            rows.push_back(wordsOf(word));
        } catch (CommandError const& error) {
            throw CommandError("row " + std::to_string(rows.size() + 1) + ": " + error.what() +
                               R"(; a row is one word with the columns as words in it: "1 \"Films HD\"")");
        }
    }
    return rows;
}

std::size_t lastWordPosition(std::string_view line) {
    std::string_view rest = line;
    while (true) {
        skipBlanks(rest);
        std::size_t const begin = line.size() - rest.size();
        try {
            consumeWord(rest);
        } catch (CommandError const&) {  // The word is incomplete.
            return begin;
        }
        if (rest.empty()) {
            return begin;
        }
    }
}

std::string joined(Words const& words, std::string const& separator) {
    std::string text;
    for (std::string const& word : words) {
        text += (&word == &words.front() ? "" : separator) + word;
    }
    return text;
}

std::string joinAsAlternatives(Words const& words) {
    std::string const text = joined({words.begin(), words.end() - 1}, ", ");
    return text.empty() ? words.back() : text + " or " + words.back();
}

std::string typed(Words const& words) {
    Words shown;
    std::transform(words.begin(), words.end(), std::back_inserter(shown),
                   [](std::string const& word) { return typed(word); });
    return joined(shown, " ");
}

std::string expandShortKey(std::string const& word) {
    if (word == "command") {
        return orvane::model_keys::COMMAND;
    }
    return word == "event" ? orvane::model_keys::EVENT : word;
}

int numberOf(std::string const& word) {
    if (auto const number = television::parseNumber<int>(word)) {
        return *number;
    }
    throw unexpected(word, rangeOf<int>());
}

std::vector<objbus::Argument> argumentsByPosition(Words const& texts) {
    constexpr std::size_t MOST = std::numeric_limits<std::int8_t>::max() + 1;
    if (texts.size() > MOST) {
        throw CommandError("found " + std::to_string(texts.size()) + " texts, expected " + std::to_string(MOST) +
                           " at most");
    }
    std::vector<objbus::Argument> arguments(texts.size());
    for (std::size_t index = 0; index < texts.size(); ++index) {
        arguments[index].index = static_cast<std::int8_t>(index);
        arguments[index].value = texts[index];
    }
    return arguments;
}

}  // namespace nrx_console
