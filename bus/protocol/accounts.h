#pragma once

#include <sys/types.h>

#include <optional>
#include <string_view>

// Private to both sides of the bus.

namespace bus {

/// The number of the user, or the group, that the word names by its name or its number.
std::optional<uid_t> findUser(std::string_view word);
std::optional<gid_t> findGroup(std::string_view word);

}  // namespace bus
