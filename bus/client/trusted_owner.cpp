#include "bus/client/trusted_owner.h"

#include <unistd.h>

#include "bus/protocol/accounts.h"
#include "television/environment.h"

namespace bus {

TrustedOwner::TrustedOwner()
    : ownerSetting_(television::fromEnvironment("NRX_BUS_OWNER", Setting{}, "a user's name or number, or any",
                                                "this process's user and root", parse)) {}

std::optional<TrustedOwner::Setting> TrustedOwner::parse(std::string_view word) {
    if (word == "any") {
        return Setting{.isAny = true};
    }
    auto const user = findUser(word);
    return user ? std::optional(Setting{.user = user}) : std::nullopt;
}

bool TrustedOwner::allows(uid_t user) const {
    return ownerSetting_.isAny || (ownerSetting_.user ? user == *ownerSetting_.user : user == ::geteuid() || user == 0);
}

std::string TrustedOwner::permittedUsers() const {
    return ownerSetting_.user ? "user " + std::to_string(*ownerSetting_.user)
                              : "user " + std::to_string(::geteuid()) + " or root";
}

}  // namespace bus
