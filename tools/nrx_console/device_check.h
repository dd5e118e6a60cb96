#pragma once

#include <optional>
#include <string>

namespace nrx_console {

/// Checks whether the television, through any platform library, has what the facade needs. Prints one line per check.
/// Returns false if something is missing that the facade needs.
///
/// If `keyForDisconnectCheck` names a key, also checks whether a disconnect from this key waits for a running
/// notification. To cause a notification, reads the value and writes the same value. Writes no other value.
bool checkFacadeRequirements(std::optional<std::string> const& keyForDisconnectCheck);

}  // namespace nrx_console
