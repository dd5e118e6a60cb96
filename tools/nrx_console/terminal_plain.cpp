#include <iostream>
#include <utility>

#include "tools/nrx_console/output.h"
#include "tools/nrx_console/terminal.h"

// A terminal where no library to edit lines is to be had.

namespace nrx_console {

struct Terminal::State {};

// NOLINTNEXTLINE(performance-unnecessary-value-param): as the other one takes them.
Terminal::Terminal(std::string /*history*/, Complete /*complete*/) {}

Terminal::~Terminal() = default;

std::optional<std::string> Terminal::readLine() {
    std::cout << "> " << std::flush;
    std::string line;
    if (!std::getline(std::cin, line)) {
        printLine("");
        return {};
    }
    return line;
}

}  // namespace nrx_console
