#pragma once

#include <sys/types.h>

#include <optional>
#include <string_view>

namespace bus {

/// Returns the number of the user or group with this name or number; empty for an unknown name.
std::optional<uid_t> findUser(std::string_view word);
std::optional<gid_t> findGroup(std::string_view word);

}  // namespace bus
