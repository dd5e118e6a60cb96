#pragma once

#include <functional>
#include <string>

namespace nrx_console {

/// An answer, an error (the console's, or the log's), or another line of the log's.
enum class Kind { ordinary, critical, error, information, detail };

/// Writes one line in one piece, from any thread: the log's lines and errors to standard error, the rest to standard
/// output. What comes from outside is in it escaped.
void printLine(std::string const& line, Kind kind = Kind::ordinary);

/// The same, but never waits for a reader: a long line is shortened, and one that there is no room for is dropped.
void printLineIfRead(std::string line, Kind kind = Kind::ordinary);

/// Takes the lines instead, from whichever thread prints them: a terminal's prompt has to make room for them. Empty:
/// no longer, once no call is running.
void setLineTaker(std::function<void(std::string const& line, Kind kind)> taker);

}  // namespace nrx_console
