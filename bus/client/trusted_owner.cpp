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
    auto const user = parseOrLookUpUid(word);
    return user ? std::optional(Setting{.onlyUser = user}) : std::nullopt;
}

bool TrustedOwner::allows(uid_t user) const {
    return ownerSetting_.isAny ||
           (ownerSetting_.onlyUser ? user == *ownerSetting_.onlyUser : user == ::geteuid() || user == 0);
}

std::string TrustedOwner::permittedUsers() const {
    return ownerSetting_.onlyUser ? "user " + std::to_string(*ownerSetting_.onlyUser)
                                  : "user " + std::to_string(::geteuid()) + " or root";
}

}  // namespace bus
