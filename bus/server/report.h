#pragma once

#include <systemd/sd-bus.h>

#include <string>

// The server's reports on standard error. A report never blocks: a line is dropped if the pipe has no room.

namespace bus::server {

/// Writes one line, which begins with the name of the program.
void printError(std::string const& problem);

/// Writes one line about the object under the key.
void printObjectError(std::string const& key, std::string const& problem);

/// Returns the text of a negative error number from appending to a message or from sending a message.
std::string reasonOf(int negativeErrno);

/// Returns a handler's result for a call whose arguments cannot be read. If the arguments have too many
/// bytes, reports the call with the key of the called object and sets `error` to a status.
int refuseCall(sd_bus_error* error, std::string const& key, int negativeErrno);

}  // namespace bus::server
