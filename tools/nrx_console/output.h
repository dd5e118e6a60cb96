#pragma once

#include <functional>
#include <string>

namespace nrx_console {

/// The kind of a line. A line of the log has the kind of its severity: `critical`, `error`, `info` or `debug`. A
/// command's error is also an `error`, and a change of presence on the bus is also `info`. All other lines are
/// `ordinary`.
enum class LineKind { ordinary, critical, error, info, debug };

/// Writes a line. Ordinary lines go to standard output, all other lines to standard error. Any thread may call this
/// function. The caller must escape untrusted text.
void printLine(std::string const& line, LineKind kind = LineKind::ordinary);

/// Writes a line without waiting for a reader. Shortens a long line. Drops the line if the output is not writable.
void printLineUnlessBlocking(std::string line, LineKind kind = LineKind::ordinary);

/// Passes later lines to `sink` instead of the output. The thread that prints a line calls `sink`. With an empty
/// `sink`, lines go to the output again. When `setLineSink` returns, no call of the earlier sink runs.
void setLineSink(std::function<void(std::string const& line, LineKind kind)> sink);

}  // namespace nrx_console
