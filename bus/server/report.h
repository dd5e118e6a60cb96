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

/// Returns the text for a negative error number that results from an attempt to append to a message or to send a
/// message.
std::string reasonOf(int negativeErrno);

/// Returns the negative error number that a handler returns to sd-bus for a refused call. `negativeErrno` is the
/// reason. For `-EMSGSIZE`, prints a report that names the called object by `key`, and sets `error` to a status of the
/// television.
int setErrorIfTooLarge(sd_bus_error* error, std::string const& key, int negativeErrno);

}  // namespace bus::server
