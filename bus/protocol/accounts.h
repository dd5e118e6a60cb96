#pragma once

#include <sys/types.h>

#include <optional>
#include <string_view>

namespace bus {

/// The number of a user or a group that is given by its name or number; empty if there is none.
std::optional<uid_t> findUser(std::string_view word);
std::optional<gid_t> findGroup(std::string_view word);

}  // namespace bus
