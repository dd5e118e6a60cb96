#pragma once

// Private to the televisions.

namespace television {

/// Reads what the environment says of the log: before the first thread starts that may write to it, since the host may
/// change its environment later.
void readLogEnvironment();

/// Writes one line of severity "error" to the log, under the tag of a subsystem. Throws nothing that the log throws,
/// and needs no memory for a short line. Not to be called with a lock held: the program may take the log's lines.
void report(char const* tag, char const* line) noexcept;

}  // namespace television
