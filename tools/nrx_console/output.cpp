#include "tools/nrx_console/output.h"

#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>

namespace nrx_console {

void printLine(std::string const& line) {
    static std::mutex mutex;
    std::lock_guard const lock(mutex);
    std::cout << line + "\n" << std::flush;
}

std::string quoted(std::vector<std::string> const& texts) {
    std::string list;
    for (std::string const& text : texts) {
        list += list.empty() ? "" : ", ";
        list += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
    return "[" + list + "]";
}

}  // namespace nrx_console
