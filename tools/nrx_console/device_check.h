#pragma once

#include <optional>
#include <string>

namespace nrx_console {

/// Checks whether the television, through any platform library, has what the facade needs. Prints one line per check.
/// Returns false if something is missing that the facade needs.
///
/// If `word` names a key, also checks whether a disconnect from it waits for a running notification: reads the value
/// and writes it back, so that the television notifies. Writes nothing else.
bool checkDevice(std::optional<std::string> const& word);

}  // namespace nrx_console
