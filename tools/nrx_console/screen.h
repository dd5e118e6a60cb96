#pragma once

#include <string>

#include "tools/nrx_console/output.h"

namespace nrx_console {

/// The line as the output for its kind takes it: for a terminal, in the colour of the kind, and broken between words
/// where the screen ends.
std::string formattedForScreen(std::string const& line, Kind kind);

}  // namespace nrx_console
