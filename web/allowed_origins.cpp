#include "web/allowed_origins.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "web/log.h"

namespace web {

using namespace std::string_view_literals;

namespace {

constexpr char VARIABLE[] = "NRX_WEB_ORIGINS";
constexpr char FILE_ORIGIN[] = "file://";

/// Accepts the engine's spelling of an origin only: lower case, without the scheme's default port.
bool isOrigin(std::string_view word) {
    if (word == FILE_ORIGIN) {
        return true;
    }
    for (auto const& [scheme, defaultPort] : {std::pair("http://"sv, ":80"sv), std::pair("https://"sv, ":443"sv)}) {
        if (word.starts_with(scheme)) {
            std::string_view const host = word.substr(scheme.size());
            return !host.empty() && !host.ends_with(defaultPort) &&
                   host.find_first_of("/?#@*ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string_view::npos;
        }
    }
    return false;
}

}  // namespace

AllowedOrigins AllowedOrigins::fromEnvironment() {
    AllowedOrigins allowed;
    char const* const value = std::getenv(VARIABLE);
    std::istringstream words(value == nullptr ? "" : value);
    for (std::string word; words >> word;) {
        if (isOrigin(word)) {
            allowed.origins_.push_back(word);
        } else {
            reportError((VARIABLE + (": \"" + word) +
                         "\" is no origin: expected http://host[:port], https://host[:port] or file://")
                            .c_str());
        }
    }
    if (allowed.isEmpty()) {
        reportError((VARIABLE + std::string(" lists no origin: no page sees nrx")).c_str());
    }
    return allowed;
}

bool AllowedOrigins::allows(std::string_view protocol, std::string_view origin) const {
    if (protocol == "file:") {  // All files share one origin, because their `self.origin` depends on the engine.
        origin = FILE_ORIGIN;
    } else if (protocol != "http:" && protocol != "https:") {
        return false;
    }
    return std::find(origins_.begin(), origins_.end(), origin) != origins_.end();
}

}  // namespace web
