#pragma once

#include <functional>
#include <string>

#include "tools/nrx_console/words.h"

namespace nrx_console {

/// Returns the possible completions of a line's last word.
using Complete = std::function<Words(std::string const& line)>;

/// Handles a line. Returns false to end the input.
using HandleLine = std::function<bool(std::string const& line)>;

/// Edits lines on the terminal at standard input, and passes each line to `handle`, until `handle` returns false or the
/// input ends. Lines that any thread prints meanwhile appear above the prompt. The file `historyFile` keeps the
/// lines, unless the path is empty. Must not be called while another call runs.
void editLines(std::string const& historyFile, Complete const& complete, HandleLine const& handle);

}  // namespace nrx_console
