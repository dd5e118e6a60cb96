#pragma once

#include <string>

// Log lines and statuses for failures of the bus.

namespace bus {

/// Writes one line of severity "error" to the log. Needs no memory for a short line.
void logErrorLine(char const* line) noexcept;
/// Logs that an operation on a key or a path failed, with the reason.
void reportFailure(std::string const& target, char const* operation, int status) noexcept;

/// Converts an error number of sd-bus to a status. `result` is the error of connecting to the bus, or of making or
/// sending a message.
int statusOfSendError(int result);
/// Converts an error number of sd-bus to a status. `result` is the error of reading a message.
int statusOfReadError(int result);

/// Runs the body of a handler that libsystemd calls. Catches exceptions, because libsystemd is C code. Only a lack of
/// memory causes an exception.
template <typename Body>
int runNoexcept(Body const& body) noexcept {
    try {
        body();
    } catch (...) {
        logErrorLine("memory ran out, an event of the television was lost");
    }
    return 0;
}

}  // namespace bus
