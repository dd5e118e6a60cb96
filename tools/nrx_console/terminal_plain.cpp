#include <iostream>

#include "tools/nrx_console/output.h"
#include "tools/nrx_console/terminal.h"

// Implements terminal.h without libedit, the library that edits lines.

namespace nrx_console {

void editLines(std::string const& /*history*/, Complete const& /*complete*/, HandleLine const& handle) {
    for (std::string line; std::cout << "> " << std::flush && std::getline(std::cin, line);) {
        if (!handle(line)) {
            return;
        }
    }
    printLine("");
}

}  // namespace nrx_console
