#pragma once

namespace television {

/// Reads the log's environment variables. Call this function before the platform starts a thread. Later, the program
/// that uses the platform may change its environment, and reading the environment at the same time is not safe.
void readLogEnvironment();

/// Writes one line of severity "error" to the log, with a subsystem's tag. Ignores exceptions of the log. Allocates no
/// memory for a short line. Must not be called with a lock held, because the program's log sink may run.
void reportError(char const* tag, char const* line) noexcept;

/// Writes one line of severity "debug" that reports a refused operation on a key. Writes nothing if the status is 0
/// and `hasResult` is true. Returns the status. Like `reportError`, ignores exceptions of the log, allocates no memory
/// for a short line, and must not be called with a lock held.
int reportRefusal(char const* operation, char const* key, int status, bool hasResult = true) noexcept;

}  // namespace television
