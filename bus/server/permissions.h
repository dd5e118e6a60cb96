#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace bus::server {

/// A client's access. Each level includes the earlier levels.
enum class Access { NONE, READ, ALL };

/// The access of users and groups.
class Permissions {
public:
    /// Root and this process's own user have all access. Other users have no access.
    Permissions();

    /// Gives at least this access to a user (a name or number), to a group (a name or number after an @), or to "any".
    /// Does not lower a higher access that was given earlier. Returns false for an unknown name.
    bool grantAtLeast(std::string const& userOrGroup, Access access);
    /// Returns the highest access that the user, one of the groups or "any" has.
    [[nodiscard]] Access of(uid_t user, std::vector<gid_t> const& groups) const;

private:
    Access everybody_ = Access::NONE;
    std::map<uid_t, Access> users_;
    std::map<gid_t, Access> groups_;
};

}  // namespace bus::server
