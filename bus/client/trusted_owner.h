#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace bus {

/// The users whose processes may own the television's name: this process's own user and root, or, if NRX_BUS_OWNER is
/// set, the user with this name or number, or "any".
class TrustedOwner {
public:
    /// Reads the environment.
    TrustedOwner();

    [[nodiscard]] bool allows(uid_t user) const;
    /// The users as text, for a line of the log.
    [[nodiscard]] std::string text() const;

private:
    struct Setting {
        bool isAny = false;
        std::optional<uid_t> user{};  ///< Empty: this process's user and root.
    };
    static std::optional<Setting> parse(std::string_view word);

    Setting setting_;
};

}  // namespace bus
