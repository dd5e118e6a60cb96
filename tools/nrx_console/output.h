#pragma once

#include <functional>
#include <string>

namespace nrx_console {

/// The kind of a line. A line of the log has the kind of its severity: `critical`, `error`, `info` or `debug`. A
/// command's error is also an `error`, and a change of presence on the bus is also `info`. All other lines are
/// `ordinary`.
enum class Kind { ordinary, critical, error, info, debug };

/// Writes a line. Ordinary lines go to standard output, all other lines to standard error. Any thread may call this
/// function. The caller must escape untrusted text.
void printLine(std::string const& line, Kind kind = Kind::ordinary);

/// Writes a line without waiting for a reader. Shortens a long line. Drops the line if the output is not writable.
void printLineUnlessBlocking(std::string line, Kind kind = Kind::ordinary);

/// Passes later lines to `sink` instead of the output. The thread that prints a line calls `sink`. With an empty
/// `sink`, lines go to the output again. When `setLineSink` returns, no call of the earlier sink runs.
void setLineSink(std::function<void(std::string const& line, Kind kind)> sink);

}  // namespace nrx_console
