#pragma once

#include <iosfwd>
#include <string>

namespace nrx_console {

class Console;

/// Carries out the commands of `input`, which error messages call `name`, to its end or to "quit". On a terminal it
/// prompts, and goes on after an error; otherwise it shows each command and stops at the first error. Returns whether
/// there was none. Throws `std::runtime_error` when `input` breaks off.
bool runCommands(Console& console, std::istream& input, std::string const& name, bool onTerminal);

}  // namespace nrx_console
