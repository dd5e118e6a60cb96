#include "bus/trusted_owner.h"

#include <pwd.h>
#include <unistd.h>

#include <vector>

#include "television/environment.h"

namespace bus {

namespace {

/// The number of the user that the system knows under the name.
std::optional<uid_t> findUser(std::string const& name) {
    constexpr std::size_t MOST_BYTES = std::size_t{1} << 20;
    passwd entry{};
    passwd* found = nullptr;
    int result = ERANGE;
    for (std::vector<char> texts(1024); result == ERANGE && texts.size() <= MOST_BYTES;
         texts.resize(2 * texts.size())) {
        result = ::getpwnam_r(name.c_str(), &entry, texts.data(), texts.size(), &found);
    }
    return result == 0 && found != nullptr ? std::optional(entry.pw_uid) : std::nullopt;
}

}  // namespace

TrustedOwner::TrustedOwner()
    : setting_(television::fromEnvironment("NRX_BUS_OWNER", Setting{}, "a user's name or number, or any",
                                           "this process's user and root", parse)) {}

std::optional<TrustedOwner::Setting> TrustedOwner::parse(std::string_view word) {
    if (word == "any") {
        return Setting{.isAny = true};
    }
    auto const number = television::parseNumber<uid_t>(word);
    auto const user = number ? number : findUser(std::string(word));
    return user ? std::optional(Setting{.user = user}) : std::nullopt;
}

bool TrustedOwner::allows(uid_t user) const {
    return setting_.isAny || (setting_.user ? user == *setting_.user : user == ::geteuid() || user == 0);
}

std::string TrustedOwner::text() const {
    return setting_.user ? "user " + std::to_string(*setting_.user)
                         : "user " + std::to_string(::geteuid()) + " or root";
}

}  // namespace bus
