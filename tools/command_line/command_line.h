#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

// What the programs have in common: how they are told what to do, and how they end.

namespace command_line {

constexpr int EXIT_NOT_STARTED = 2;  ///< Of a program that was told something wrong.

/// Says in one line on standard error what is the matter, whatever it holds.
void complain(std::string const& program, std::string const& what);

/// What a program can be told by the words that it is started with. The variables outlive it.
class CommandLine {
public:
    CommandLine(std::string const& program, std::string const& purpose);
    CommandLine(CommandLine const&) = delete;
    CommandLine& operator=(CommandLine const&) = delete;
    ~CommandLine();

    /// A text, in the word after an option ("--name") or in one of its own ("NAME").
    void addText(std::string const& name, std::optional<std::string>& text, std::string const& help);
    /// Texts, each in the word after the option, which may be repeated.
    void addTexts(std::string const& name, std::vector<std::string>& texts, std::string const& help);
    void addDirectory(std::string const& name, std::optional<std::string>& path, std::string const& help);
    void addFlag(std::string const& name, bool& isGiven, std::string const& help);
    /// Leaves it out of the help.
    void hide(std::string const& name);

    /// Sets the variables. Returns the program's status when there is nothing left to do: the help was asked for, or
    /// the words are wrong, which is said.
    std::optional<int> parse(int argc, char** argv);

private:
    std::unique_ptr<CLI::App> app_;
};

/// The whole of `main`: runs the program, and says what it throws. What it has written must have come through.
int runProgram(std::string const& program, int failure, int (*run)(int argc, char** argv), int argc, char** argv);

}  // namespace command_line
