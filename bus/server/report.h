#pragma once

#include <systemd/sd-bus.h>

#include <string>

// The server's reports on standard error. A report never blocks: if standard error is not ready for writing, the line
// is dropped.

namespace bus::server {

/// Writes one line, which begins with the name of the program.
void printError(std::string const& problem);

/// Writes one line about the object under the key.
void printObjectError(std::string const& key, std::string const& problem);

/// Returns the text of a negative error number from appending to a message or from sending a message.
std::string reasonOf(int negativeErrno);

/// Returns the negative error number that a handler returns to sd-bus for a call whose arguments cannot be read. If the
/// arguments have too many bytes, reports the call with the key of the called object and sets `error` to a status.
int refuseCall(sd_bus_error* error, std::string const& key, int negativeErrno);

}  // namespace bus::server
