#include "web/calls.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "television/status.h"
#include "web/status.h"

namespace web {

namespace {

bool isTooLarge(std::vector<std::string> const& texts) {
    std::size_t bytes = 0;
    for (std::string const& text : texts) {
        bytes += std::max<std::size_t>(text.size(), 1);
    }
    return bytes > MAX_LIST_BYTES;
}

}  // namespace

int parseCall(std::string_view name, std::string_view json, FacadeWorker::Operation& operation) {
    if (name == "device") {
        operation = &Session::device;
        return television::STATUS_OK;
    }
    if (name == "requestStartService") {
        operation = &Session::requestStartService;
        return television::STATUS_OK;
    }
    try {
        // The parser refuses the escape of half a surrogate pair, which has no UTF-8.
        auto const arguments = nlohmann::json::parse(json);
        std::optional<ListType> const type = listTypeOf(arguments.at(0).get_ref<std::string const&>());
        if (type && name == "get") {
            operation = [type = *type](Session& session) { return session.get(type); };
        } else if (type && name == "set") {
            if (isTooLarge(arguments.at(1).get<std::vector<std::string>>())) {
                return STATUS_TOO_LARGE;
            }
            // The call may wait long. The JSON text takes less memory than many short strings.
            operation = [type = *type, json = std::string(json)](Session& session) {
                return session.set(type, nlohmann::json::parse(json).at(1).get<std::vector<std::string>>());
            };
        } else {
            return television::STATUS_NOT_SUPPORTED;
        }
    } catch (nlohmann::json::exception const&) {
        return television::STATUS_NOT_CARRIED;
    }
    return television::STATUS_OK;
}

}  // namespace web
