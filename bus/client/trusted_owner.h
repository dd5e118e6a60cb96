#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace bus {

/// The users whose processes may own the television's name: this process's user and root. If NRX_BUS_OWNER is set,
/// only the user with this name or number may own the television's name; "any" permits every user.
class TrustedOwner {
public:
    /// Reads the environment.
    TrustedOwner();

    [[nodiscard]] bool allows(uid_t user) const;
    /// The users as text for the log.
    [[nodiscard]] std::string permittedUsers() const;

private:
    struct Setting {
        bool isAny = false;
        /// If `onlyUser` is empty and `isAny` is false, this process's user and root may own the television's name.
        std::optional<uid_t> onlyUser{};
    };
    static std::optional<Setting> parse(std::string_view word);

    Setting ownerSetting_;
};

}  // namespace bus
