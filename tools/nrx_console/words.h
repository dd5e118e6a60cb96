#pragma once

#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "objbus/argument.h"
#include "television/printable.h"

namespace nrx_console {

/// The words of a command.
using Words = std::vector<std::string>;

/// A command cannot be executed. The text says what was found and what was expected.
struct CommandError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The error "found …, expected …". The found text is quoted as it can be typed.
CommandError unexpected(std::string const& found, std::string const& expected);

// Each of these operations throws `CommandError` for text that it does not accept.

/// The words of a line, which are separated by blanks. A word in double quotes may contain blanks. Within quotes, `\n`,
/// `\r` and `\t` are a line feed, a carriage return and a tab, `\xHH` is a byte, and a backslash before a quote or a
/// backslash stands for that character.
Words wordsOf(std::string_view line);

/// The rows of a table. Each word is a row, whose columns are words in it.
std::vector<Words> rowsOf(Words const& words);

/// The position of the last word of a line, whose closing quote may be missing; the line's size after a blank.
std::size_t lastWordOf(std::string_view line);

std::string joined(Words const& words, std::string const& separator);
/// "a, b or c", of at least one word.
std::string alternatives(Words const& words);

using television::typed;
/// The words in one line, each as it can be typed.
std::string typed(Words const& words);

/// The key that a word stands for: `command` and `event` are short for two keys.
std::string keyOf(std::string const& word);

/// The number that a word spells out. Throws for another word, and for a number out of range.
int numberOf(std::string const& word);

/// The range of a number type, for error messages.
template <typename Number>
std::string rangeOf() {
    using Limits = std::numeric_limits<Number>;
    return "a whole number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max());
}

/// Arguments or results of an action, one for each text.
std::vector<objbus::Argument> argumentsOf(Words const& texts);

}  // namespace nrx_console
