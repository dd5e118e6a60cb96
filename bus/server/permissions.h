#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace bus::server {

/// What a client may do. A later one includes the earlier ones.
enum class Access { NONE, READ, ALL };

/// What the users may do whose processes are clients.
class Permissions {
public:
    /// Root and this process's own user may do all, and nobody else anything.
    Permissions();

    /// Allows it to a user, by name or number, to a group, whose name or number comes after an @, or to "any". Returns
    /// false for another name.
    bool allow(std::string const& name, Access access);
    /// The most that the user, or one of the groups, is allowed.
    [[nodiscard]] Access of(uid_t user, std::vector<gid_t> const& groups) const;

private:
    Access everybody_ = Access::NONE;
    std::map<uid_t, Access> users_;
    std::map<gid_t, Access> groups_;
};

}  // namespace bus::server
