#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace web {

/// The origins whose documents see `nrx`.
class AllowedOrigins {
public:
    /// Those in the environment variable NRX_WEB_ORIGINS, separated by blanks: `scheme://host[:port]` with the scheme
    /// http or https, as a document's `self.origin` has it (lower case, no default port), and `file://`. One line of
    /// the log for each other word, and one when there is no origin.
    static AllowedOrigins fromEnvironment();

    [[nodiscard]] bool isEmpty() const { return origins_.empty(); }

    /// `protocol` is the `location.protocol` of a document, `origin` its `self.origin`, which is opaque in a sandbox.
    [[nodiscard]] bool allows(std::string_view protocol, std::string_view origin) const;

private:
    std::vector<std::string> origins_;
};

}  // namespace web
