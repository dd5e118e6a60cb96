#include "tools/nrx_television/permissions.h"

#include <unistd.h>

#include <algorithm>

#include "bus/accounts.h"
#include "tools/nrx_console/words.h"

namespace nrx_television {

namespace {

void raise(Access& access, Access least) { access = std::max(access, least); }

template <typename Number>
Access find(std::map<Number, Access> const& all, Number number) {
    auto const place = all.find(number);
    return place != all.end() ? place->second : Access::NONE;
}

}  // namespace

Permissions::Permissions() : users_{{0, Access::ALL}, {::geteuid(), Access::ALL}} {}

void Permissions::allow(std::string const& name, Access access) {
    if (name == "any") {
        raise(everybody_, access);
    } else if (auto const group = name.starts_with('@') ? bus::findGroup(name.substr(1)) : std::nullopt) {
        raise(groups_[*group], access);
    } else if (auto const user = bus::findUser(name)) {
        raise(users_[*user], access);
    } else {
        throw nrx_console::unexpected(name, "a user's name or number, a group's after an @, or any");
    }
}

Access Permissions::of(uid_t user, std::vector<gid_t> const& groups) const {
    Access access = std::max(everybody_, find(users_, user));
    for (gid_t const group : groups) {
        raise(access, find(groups_, group));
    }
    return access;
}

}  // namespace nrx_television
