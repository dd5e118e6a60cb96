#pragma once

#include <functional>
#include <iosfwd>
#include <string>

namespace nrx_console {

class Console;

enum class Outcome { done, failed, quit };

/// Carries out one line, as `Console::execute` does.
using Execute = std::function<bool(std::string const& line)>;

/// Shows a line and carries it out; what fails is said with the place of the line.
Outcome runLine(std::string const& line, std::string const& place, Execute const& execute);

/// Carries out the commands of `input`, which error messages call `name`, to its end, to "quit" or to the first error;
/// shows each. Returns whether there was none. Throws `std::runtime_error` when `input` breaks off.
bool runScript(Console& console, std::istream& input, std::string const& name);

/// Carries out what is typed on the terminal at standard input, whatever fails.
void runOnTerminal(Console& console);

}  // namespace nrx_console
