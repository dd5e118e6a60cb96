#include "tools/nrx_console/session.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "television/printable.h"
#include "tools/nrx_console/console.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/terminal.h"

namespace nrx_console {

namespace {

/// The text of an exception that the command in the line threw. If the exception is neither a `CommandError` nor a
/// `ModelError`, the text also contains the line.
std::string textOf(std::exception const& error, std::string const& line) {
    constexpr std::size_t MOST_BYTES = 200;
    bool const isOurs =
        dynamic_cast<CommandError const*>(&error) != nullptr || dynamic_cast<ModelError const*>(&error) != nullptr;
    std::string const failed = television::printable(television::shortened(line, MOST_BYTES)) + ": failed with ";
    return (isOurs ? "" : failed) + error.what();
}

}  // namespace

Outcome runLine(std::string const& line, std::string const& sourcePosition, Execute const& execute) {
    bool const isCommand = !line.empty() && line.front() != '#';
    printLine((isCommand ? "> " : "") + television::printable(line));
    try {
        return execute(line) ? Outcome::done : Outcome::quit;
    } catch (std::exception const& error) {
        printLine(sourcePosition + ": " + textOf(error, line), LineKind::error);
        return Outcome::failed;
    }
}

bool runScript(Console& console, std::istream& input, std::string const& name) {
    int number = 0;
    for (std::string line; std::getline(input, line);) {
        ++number;
        Outcome const outcome =
            runLine(line, name + ":" + std::to_string(number),
                    [&console](std::string const& command) { return console.executeUnlessQuit(command); });
        if (outcome != Outcome::done) {
            return outcome == Outcome::quit;
        }
    }
    if (input.bad()) {
        throw std::runtime_error(name + ": cannot be read to its end");
    }
    return true;
}

void runOnTerminal(Console& console) {
    char const* const home = std::getenv("HOME");
    auto const complete = [&console](std::string const& line) { return console.completions(line); };
    auto const execute = [&console](std::string const& line) {
        try {
            return console.executeUnlessQuit(line);
        } catch (std::exception const& error) {
            printLine(textOf(error, line), LineKind::error);
            return true;
        }
    };
    setLogRedirectedToConsole(isatty(STDERR_FILENO) != 0);
    editLines(home != nullptr ? std::string(home) + "/.nrx_console_history" : "", complete, execute);
    setLogRedirectedToConsole(false);
}

}  // namespace nrx_console
