#pragma once

#include <string>

#include "tools/nrx_console/output.h"

namespace nrx_console {

/// Formats the line for the output on which lines of the kind are printed. If the output is a terminal, adds the colour
/// of the kind and breaks the line at the screen's width.
std::string colourAndWrapIfTerminal(std::string const& line, LineKind kind);

}  // namespace nrx_console
