#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

// The options, errors and exit statuses of all programs.

namespace command_line {

constexpr int EXIT_INVALID_INPUT = 2;  ///< An option, a file or the standard input is invalid.

/// Prints an error as one line on standard error, with control characters escaped.
void printError(std::string const& program, std::string const& what);

/// The command-line options of a program. The variables that the `add` functions take must outlive this object.
class CommandLine {
public:
    CommandLine(std::string const& program, std::string const& purpose);
    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;
    ~CommandLine();

    /// Adds an option with a text ("--name"), or a positional text ("NAME").
    void addText(std::string const& name, std::optional<std::string>& text, std::string const& help);
    /// Adds an option with a text. The command line may repeat the option.
    void addRepeatableText(std::string const& name, std::vector<std::string>& texts, std::string const& help);
    void addExistingDirectory(std::string const& name, std::optional<std::string>& path, std::string const& help);
    void addFlag(std::string const& name, bool& isGiven, std::string const& help);
    /// Adds a command with an optional positional text. The positional texts of the earlier `addText` calls are not
    /// allowed together with the command.
    void addCommand(std::string const& name, bool& isGiven, std::string const& help, std::string const& argument,
                    std::optional<std::string>& text, std::string const& argumentHelp);

    /// Sets the variables. If the command line requests the help or the version, or has an error, prints the help, the
    /// version or the error and returns the program's exit status.
    std::optional<int> parse(int argc, char** argv);

private:
    std::unique_ptr<CLI::App> app_;
};

/// The body of `main`. Prints exceptions. Returns the status of `run`, or `failureExitStatus` after an exception or if
/// standard output cannot be written.
int runMain(std::string const& program, int failureExitStatus, int (*run)(int argc, char** argv), int argc,
            char** argv);

}  // namespace command_line
