#include "bus/server/permissions.h"

#include <unistd.h>

#include <algorithm>

#include "bus/protocol/accounts.h"

namespace bus::server {

namespace {

void raise(Access& access, Access least) { access = std::max(access, least); }

template <typename Number>
Access find(std::map<Number, Access> const& all, Number number) {
    auto const place = all.find(number);
    return place != all.end() ? place->second : Access::NONE;
}

}  // namespace

Permissions::Permissions() : users_{{0, Access::ALL}, {::geteuid(), Access::ALL}} {}

bool Permissions::grantAtLeast(std::string const& userOrGroup, Access access) {
    if (userOrGroup == "any") {
        raise(everybody_, access);
    } else if (auto const group =
                   userOrGroup.starts_with('@') ? parseOrLookUpGid(userOrGroup.substr(1)) : std::nullopt) {
        raise(groups_[*group], access);
    } else if (auto const user = parseOrLookUpUid(userOrGroup)) {
        raise(users_[*user], access);
    } else {
        return false;
    }
    return true;
}

Access Permissions::of(uid_t user, std::vector<gid_t> const& groups) const {
    Access access = std::max(everybody_, find(users_, user));
    for (gid_t const group : groups) {
        raise(access, find(groups_, group));
    }
    return access;
}

}  // namespace bus::server
