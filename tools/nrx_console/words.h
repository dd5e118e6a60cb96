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

/// A command cannot be executed. The message says what was found and what was expected.
struct CommandError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The error "found …, expected …". The found text has the quotes and escapes with which a user types the text.
CommandError unexpected(std::string const& found, std::string const& expected);

// The functions below throw `CommandError` for text that they do not accept.

/// The words of a line, which are separated by blanks. A word in double quotes may contain blanks. Within quotes, `\n`,
/// `\r` and `\t` are a line feed, a carriage return and a tab, `\xHH` is a byte, `\"` is a quote and `\\` is a
/// backslash.
Words wordsOf(std::string_view line);

/// The rows of a table. Each element of `words` is the text of one row, and the words in this text are the columns.
std::vector<Words> rowFromEachWord(Words const& words);

/// Returns the position at which the last word begins. The closing quote of this word may be missing. If the line ends
/// with a blank outside quotes, returns the size of the line.
std::size_t lastWordPosition(std::string_view line);

std::string joined(Words const& words, std::string const& separator);
/// Returns "a, b or c". There must be at least one word.
std::string joinAsAlternatives(Words const& words);

using television::typed;
/// The words in one line. Words have the quotes and escapes with which a user types them.
std::string typed(Words const& words);

/// The key that a word stands for: `command` and `event` are short for two keys.
std::string expandShortKey(std::string const& word);

/// The number in a word. Throws for a word that is no number, and for a number out of range.
int numberOf(std::string const& word);

/// The range of a number type, for error messages.
template <typename Number>
std::string rangeOf() {
    using Limits = std::numeric_limits<Number>;
    return "a whole number from " + std::to_string(Limits::min()) + " to " + std::to_string(Limits::max());
}

/// Makes the arguments or the results of an action, one from each text.
std::vector<objbus::Argument> argumentsByPosition(Words const& texts);

}  // namespace nrx_console
