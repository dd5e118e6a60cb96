#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace web {

/// The origins whose documents get `nrx`.
class AllowedOrigins {
public:
    /// Parses the environment variable NRX_WEB_ORIGINS, a list separated by blanks. An origin is `file://`,
    /// `http://host[:port]` or `https://host[:port]`. The origin must be written as in a document's `self.origin`: in
    /// lower case, without the default port. Logs one line for each invalid origin, and one line if no origin is valid.
    static AllowedOrigins fromEnvironment();

    [[nodiscard]] bool isEmpty() const { return origins_.empty(); }

    /// `protocol` is the document's `location.protocol`. `origin` is the document's `self.origin`, which is "null" in a
    /// sandbox.
    [[nodiscard]] bool allows(std::string_view protocol, std::string_view origin) const;

private:
    std::vector<std::string> origins_;
};

}  // namespace web
