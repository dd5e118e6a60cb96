#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "objbus/argument.h"
#include "television/printable.h"

namespace nrx_console {

/// The words of a command.
using Words = std::vector<std::string>;

/// A command that cannot be carried out; the text says what was found and what was expected.
struct CommandError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What was found, in the form in which it could be typed, and what was expected.
CommandError unexpected(std::string const& found, std::string const& expected);

// What words say; each throws `CommandError` for one that does not.

/// The words of a line, which blanks part unless they stand in quotes. Within quotes a backslash makes of `n`, `r` and
/// `t` a line feed, a return and a tab, of `xHH` the byte, and of a quote or a backslash itself.
Words wordsOf(std::string_view line);

/// Where the last word of a line begins, which may have no end yet, or not have begun.
std::size_t lastWordOf(std::string_view line);

using television::typed;
/// The words behind one another, each as it can be typed.
std::string typed(Words const& words);

/// The key that a word stands for.
std::string keyOf(std::string const& word);

bool isSwitchedOn(std::string const& word);

int numberOf(std::string const& word);

/// Arguments or results of an action, one for each text.
std::vector<objbus::Argument> argumentsOf(Words const& texts);

}  // namespace nrx_console
