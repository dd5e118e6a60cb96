#pragma once

#include <functional>
#include <string>

namespace nrx_console {

/// The kind of a line: an answer of a command, an error of a command or of the log, or another line of the log.
enum class Kind { ordinary, critical, error, information, detail };

/// Writes a line, from any thread: answers to standard output, all other lines to standard error. The caller escapes
/// text from outside.
void printLine(std::string const& line, Kind kind = Kind::ordinary);

/// Writes a line without waiting for a reader: shortens a long line, and drops the line if there is no room.
void printLineOrDrop(std::string line, Kind kind = Kind::ordinary);

/// Passes the lines to `sink` instead, on the thread that prints them. If `sink` is empty, lines are written again,
/// and no call of the earlier sink is running on return.
void setLineSink(std::function<void(std::string const& line, Kind kind)> sink);

}  // namespace nrx_console
