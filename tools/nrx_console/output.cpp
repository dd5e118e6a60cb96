#include "tools/nrx_console/output.h"

#include <iomanip>
#include <iostream>
#include <mutex>
#include <sstream>

namespace nrx_console {

void printLine(std::string const& line) {
    static std::mutex mutex;
    std::lock_guard const lock(mutex);
    std::cout << line + "\n" << std::flush;
}

std::string quoted(std::vector<std::string> const& texts) {
    std::ostringstream list;
    list << '[';
    char const* separator = "";
    for (std::string const& text : texts) {
        list << separator << std::quoted(text);
        separator = ", ";
    }
    list << ']';
    return list.str();
}

}  // namespace nrx_console
