#pragma once

#include <string>

// How the platform library reports failures of the bus.

namespace bus {

/// Writes one line to the log. Needs no memory for a short line.
void report(char const* line) noexcept;
/// Writes that an operation on a key or a path failed, and why.
void reportFailure(std::string const& target, char const* operation, int status) noexcept;

/// The status of a message that could not be made or sent, by sd-bus's error number.
int statusOfSendError(int result);
/// The status of a message that could not be read.
int statusOfReadError(int result);

/// Runs the body of a handler that libsystemd calls. The handler is C code: an exception, which only a lack of memory
/// causes, ends here.
template <typename Body>
int runNoexcept(Body const& body) noexcept {
    try {
        body();
    } catch (...) {
        report("memory ran out, an event of the television was lost");
    }
    return 0;
}

}  // namespace bus
