#pragma once

#include <string>

// Log lines and statuses for failures of the bus.

namespace bus {

/// Writes one line to the log. Needs no memory for a short line.
void writeLogLine(char const* line) noexcept;
/// Logs that an operation on a key or a path failed, with the reason.
void reportFailure(std::string const& target, char const* operation, int status) noexcept;

/// Returns the status for sd-bus's error number of a message that could not be made or sent.
int statusOfSendError(int result);
/// Returns the status for sd-bus's error number of a message that could not be read.
int statusOfReadError(int result);

/// Runs the body of a handler that libsystemd calls. Catches exceptions, because libsystemd is C code. Only a lack of
/// memory causes an exception.
template <typename Body>
int runNoexcept(Body const& body) noexcept {
    try {
        body();
    } catch (...) {
        writeLogLine("memory ran out, an event of the television was lost");
    }
    return 0;
}

}  // namespace bus
