#include "tools/command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "television/printable.h"

namespace command_line {

void printError(std::string const& program, std::string const& what) {
    std::cerr << program + ": " + television::printable(what) + "\n";
}

CommandLine::CommandLine(std::string const& program, std::string const& purpose)
    : app_(std::make_unique<CLI::App>(purpose, program)) {
    app_->set_version_flag("--version", program + " " NRX_VERSION);
}

CommandLine::~CommandLine() = default;

void CommandLine::addText(std::string const& name, std::optional<std::string>& text, std::string const& help) {
    app_->add_option(name, text, help);
}

void CommandLine::addRepeatableText(std::string const& name, std::vector<std::string>& texts, std::string const& help) {
    app_->add_option(name, texts, help)->allow_extra_args(false);
}

void CommandLine::addExistingDirectory(std::string const& name, std::optional<std::string>& path,
                                       std::string const& help) {
    app_->add_option(name, path, help)->check(CLI::ExistingDirectory);
}

void CommandLine::addFlag(std::string const& name, bool& isGiven, std::string const& help) {
    app_->add_flag(name, isGiven, help);
}

void CommandLine::addCommand(std::string const& name, bool& isGiven, std::string const& help,
                             std::string const& argument, std::optional<std::string>& text,
                             std::string const& argumentHelp) {
    CLI::App* const command = app_->add_subcommand(name, help)->fallthrough();
    command->callback([&isGiven] { isGiven = true; });
    command->add_option(argument, text, argumentHelp);
    for (CLI::Option* const positional : app_->get_options(&CLI::Option::get_positional)) {
        command->excludes(positional);
    }
}

std::optional<int> CommandLine::parse(int argc, char** argv) {
    try {
        app_->parse(argc, argv);
        return std::nullopt;
    } catch (CLI::Success const& help) {
        return app_->exit(help);
    } catch (CLI::ParseError const& error) {
        printError(app_->get_name(), error.what());
        return EXIT_INVALID_INPUT;
    }
}

int runMain(std::string const& program, int failureExitStatus, int (*run)(int argc, char** argv), int argc,
            char** argv) try {
    int const status = run(argc, argv);
    if (status == 0 && !std::cout.flush()) {
        throw std::runtime_error("standard output cannot be written");
    }
    return status;
} catch (std::exception const& error) {
    printError(program, error.what());
    return failureExitStatus;
}

}  // namespace command_line
