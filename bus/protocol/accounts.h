#pragma once

#include <sys/types.h>

#include <optional>
#include <string_view>

namespace bus {

/// Returns the number of the user or group with this name. Returns a decimal number as it is, and nothing for an
/// unknown name.
std::optional<uid_t> parseOrLookUpUid(std::string_view word);
std::optional<gid_t> parseOrLookUpGid(std::string_view word);

}  // namespace bus
