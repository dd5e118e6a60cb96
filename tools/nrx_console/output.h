#pragma once

#include <functional>
#include <string>

namespace nrx_console {

enum class Kind { ordinary, error, log };

/// Writes one line in one piece, from any thread: errors and the log's lines to standard error, the rest to standard
/// output. What comes from outside is in it escaped.
void printLine(std::string const& line, Kind kind = Kind::ordinary);

/// Takes the lines instead, from whichever thread prints them: a terminal's prompt has to make room for them. Empty:
/// no longer, once no call is running.
void setLineTaker(std::function<void(std::string const& line, Kind kind)> taker);

}  // namespace nrx_console
