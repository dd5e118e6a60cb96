#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "objbus/argument.h"

namespace nrx_console {

/// The words of a command.
using Words = std::vector<std::string>;

/// A command that cannot be carried out; the text says what was found and what was expected.
struct CommandError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What words say; each throws `CommandError` for one that does not.

/// The words of a line, which blanks part unless they stand in quotes.
Words wordsOf(std::string const& line);

/// The key that a word stands for.
std::string keyOf(std::string const& word);

bool isSwitchedOn(std::string const& word);

int numberOf(std::string const& word);

/// The results of an action, one for each text.
std::vector<objbus::Argument> resultsOf(Words const& texts);

}  // namespace nrx_console
