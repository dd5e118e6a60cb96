#pragma once

#include <optional>
#include <string>

namespace nrx_console {

/// Checks whether the television has what the facade needs. Works with any platform library. Prints one line per check.
/// Returns false if something that the facade needs is missing.
///
/// If `keyForDisconnectCheck` names a key, also checks whether a disconnect from this key waits for a running
/// notification. To cause a notification, reads the value and writes the same value. Writes no other value.
bool checkFacadeRequirements(std::optional<std::string> const& keyForDisconnectCheck);

}  // namespace nrx_console
