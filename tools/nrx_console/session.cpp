#include "tools/nrx_console/session.h"

#include <iostream>
#include <stdexcept>

#include "tools/nrx_console/console.h"
#include "tools/nrx_console/output.h"

namespace nrx_console {

bool runCommands(Console& console, std::istream& input, std::string const& name, bool onTerminal) {
    constexpr char PROMPT[] = "> ";
    int number = 0;
    while (true) {
        if (onTerminal) {
            std::cout << PROMPT << std::flush;
        }
        std::string line;
        if (!std::getline(input, line)) {
            if (onTerminal) {
                printLine("");
            }
            if (input.bad()) {
                throw std::runtime_error(name + ": cannot be read to its end");
            }
            return true;
        }
        ++number;
        if (!onTerminal) {
            bool const isCommand = !line.empty() && line.front() != '#';
            printLine(isCommand ? PROMPT + line : line);
        }
        try {
            if (!console.execute(line)) {
                return true;
            }
        } catch (std::runtime_error const& error) {
            std::cerr << name + ":" + std::to_string(number) + ": " + error.what() + "\n";
            if (!onTerminal) {
                return false;
            }
        }
    }
}

}  // namespace nrx_console
