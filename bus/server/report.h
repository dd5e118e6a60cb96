#pragma once

#include <systemd/sd-bus.h>

#include <string>

// What the server reports on standard error. It never waits for a reader: a line that there is no room for is dropped.

namespace bus::server {

/// Writes one line, which begins with the name of the program.
void report(std::string const& problem);

/// Writes one line about the object under the key.
void reportObject(std::string const& key, std::string const& problem);

/// The text of a negative error number that appending to a message, or sending it, returned.
std::string reasonOf(int failure);

/// The result of a handler that could not read the arguments of a call to the object under the key. Too many bytes are
/// reported and refused with a status.
int refuseUnread(sd_bus_error* error, std::string const& key, int failure);

}  // namespace bus::server
