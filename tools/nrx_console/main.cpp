#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <fstream>
#include <iostream>

#include "tools/nrx_console/console.h"
#include "tools/nrx_console/sysroot.h"

namespace {

constexpr int EXIT_SCRIPT_FAILED = 1;
constexpr int EXIT_NOT_STARTED = 2;

int fail(std::string const& what) {
    std::cerr << "nrx_console: " + what + "\n";
    return EXIT_NOT_STARTED;
}

}  // namespace

int main(int argc, char** argv) try {
    std::string model;
    std::string sysroot;
    std::string script;
    CLI::App app("An embedding process in front of a simulated television. \"help\" lists its commands.",
                 "nrx_console");
    app.add_option("--model", model, "JSON file of the television's objects");
    app.add_option("--sysroot", sysroot, "Directory that holds the television's own files")
        ->check(CLI::ExistingDirectory);
    app.add_option("SCRIPT", script, "File of commands; standard input by default");
    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& help) {
        return app.exit(help);
    } catch (CLI::ParseError const& error) {
        return fail(error.what());
    }

    std::ifstream scriptFile;
    std::vector<nrx_console::ModelObject> objects;
    if (!script.empty()) {
        scriptFile.open(script);
        if (!scriptFile) {
            return fail(script + ": cannot be opened, expected a file of commands");
        }
    }
    try {
        if (!model.empty()) {
            objects = nrx_console::readModelFile(model);
        }
    } catch (nrx_console::ModelError const& error) {
        return fail(error.what());
    }
    nrx_console::setSysroot(sysroot);

    nrx_console::Console console(objects);
    bool const succeeded = script.empty() ? runCommands(console, std::cin, "standard input", isatty(STDIN_FILENO) != 0)
                                          : runCommands(console, scriptFile, script, false);
    return succeeded ? 0 : EXIT_SCRIPT_FAILED;
} catch (std::exception const& error) {
    fail(error.what());
    return EXIT_SCRIPT_FAILED;
}
