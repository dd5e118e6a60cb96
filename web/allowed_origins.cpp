#include "web/allowed_origins.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "television/report.h"
#include "web/log.h"

namespace web {

namespace {

constexpr char VARIABLE[] = "NRX_WEB_ORIGINS";
constexpr char FILE_ORIGIN[] = "file://";

/// As an engine writes it: in lower case, and without the port that the scheme has anyway.
bool isOrigin(std::string_view word) {
    if (word == FILE_ORIGIN) {
        return true;
    }
    struct Scheme {
        std::string_view begin;
        std::string_view port;
    };
    for (auto const& [begin, port] : {Scheme{"http://", ":80"}, Scheme{"https://", ":443"}}) {
        if (word.starts_with(begin)) {
            std::string_view const host = word.substr(begin.size());
            return !host.empty() && !host.ends_with(port) &&
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
            television::report(LOG_TAG, (VARIABLE + (": \"" + word) +
                                         "\" is no origin: expected http://host[:port], https://host[:port] or file://")
                                            .c_str());
        }
    }
    if (allowed.isEmpty()) {
        television::report(LOG_TAG, (VARIABLE + std::string(" lists no origin: no page sees nrx")).c_str());
    }
    return allowed;
}

bool AllowedOrigins::allows(std::string_view protocol, std::string_view origin) const {
    if (protocol == "file:") {  // All files are of one origin here, whatever the engine says of it.
        origin = FILE_ORIGIN;
    } else if (protocol != "http:" && protocol != "https:") {
        return false;
    }
    return std::find(origins_.begin(), origins_.end(), origin) != origins_.end();
}

}  // namespace web
