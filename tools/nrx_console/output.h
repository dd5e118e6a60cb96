#pragma once

#include <string>
#include <vector>

namespace nrx_console {

/// Writes one line to standard output, in one piece: the delivery thread writes too.
void printLine(std::string const& line);

/// The texts as a JSON list, so that no control character reaches the terminal.
std::string quoted(std::vector<std::string> const& texts);

}  // namespace nrx_console
