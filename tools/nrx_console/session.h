#pragma once

#include <functional>
#include <iosfwd>
#include <string>

namespace nrx_console {

class Console;

enum class Outcome { done, failed, quit };

/// Executes one line, as `Console::executeUnlessQuit` does.
using Execute = std::function<bool(std::string const& line)>;

/// Shows a line and executes it. Prints an error together with `sourcePosition`.
Outcome runLine(std::string const& line, std::string const& sourcePosition, Execute const& execute);

/// Shows and executes the commands of `input` until its end, "quit" or the first error. Returns whether there was no
/// error. `name` is the name of `input` in error messages. Throws `std::runtime_error` if reading fails.
bool runScript(Console& console, std::istream& input, std::string const& name);

/// Executes the lines that are typed on the terminal at standard input, and prints the log between these lines.
/// Continues after errors.
void runOnTerminal(Console& console);

}  // namespace nrx_console
