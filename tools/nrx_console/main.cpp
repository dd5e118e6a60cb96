#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>

#include "tools/nrx_console/console.h"
#include "tools/nrx_console/session.h"
#include "tools/nrx_console/sysroot.h"

namespace {

constexpr int EXIT_SCRIPT_FAILED = 1;
constexpr int EXIT_NOT_STARTED = 2;

int fail(std::string const& what) {
    std::cerr << "nrx_console: " + what + "\n";
    return EXIT_NOT_STARTED;
}

int run(int argc, char** argv) {
    std::string model;
    std::string sysroot;
    std::string script;
    CLI::App app("An embedding process in front of a simulated television. \"help\" lists its commands.",
                 "nrx_console");
    auto const* const modelOption = app.add_option("--model", model, "JSON file of the television's objects");
    app.add_option("--sysroot", sysroot, "Directory that holds the television's own files")
        ->check(CLI::ExistingDirectory);
    auto const* const scriptOption = app.add_option("SCRIPT", script, "File of commands; standard input by default");
    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& help) {
        return app.exit(help);
    } catch (CLI::ParseError const& error) {
        return fail(error.what());
    }

    bool const hasScript = scriptOption->count() > 0;
    bool const onTerminal = !hasScript && isatty(STDIN_FILENO) != 0;
    std::ifstream scriptFile;
    if (hasScript) {
        scriptFile.open(script);
    } else {
        script = "standard input";
    }
    std::istream& input = hasScript ? scriptFile : std::cin;
    if (!onTerminal) {
        input.peek();  // Fails for a directory, which can be opened all the same.
    }
    if (input.fail() || std::ferror(stdin) != 0) {  // std::cin takes a failed read for its end.
        return fail(script + ": cannot be read, expected a file of commands");
    }
    std::vector<nrx_console::ModelObject> objects;
    try {
        if (modelOption->count() > 0) {
            objects = nrx_console::readModelFile(model);
        }
    } catch (nrx_console::ModelError const& error) {
        return fail(error.what());
    }
    nrx_console::setSysroot(sysroot);

    nrx_console::Console console(objects);
    return runCommands(console, input, script, onTerminal) ? 0 : EXIT_SCRIPT_FAILED;
}

}  // namespace

int main(int argc, char** argv) try {
    int const status = run(argc, argv);
    if (status == 0 && !std::cout.flush()) {
        throw std::runtime_error("standard output cannot be written");
    }
    return status;
} catch (std::exception const& error) {
    fail(error.what());
    return EXIT_SCRIPT_FAILED;
}
