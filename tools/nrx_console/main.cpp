#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>

#include "television/printable.h"
#include "tools/nrx_console/console.h"
#include "tools/nrx_console/example_model.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/session.h"
#include "tools/nrx_console/sysroot.h"

namespace {

constexpr int EXIT_SCRIPT_FAILED = 1;
constexpr int EXIT_NOT_STARTED = 2;

int fail(std::string const& what) {
    std::cerr << NRX_PROGRAM ": " + what + "\n";
    return EXIT_NOT_STARTED;
}

int runInput(nrx_console::Console& console, std::istream& input, std::string const& name, bool onTerminal) {
    if (!onTerminal) {
        return runScript(console, input, name) ? 0 : EXIT_SCRIPT_FAILED;
    }
    nrx_console::printLog(isatty(STDERR_FILENO) != 0);
    runOnTerminal(console);
    nrx_console::printLog(false);
    return 0;
}

int run(int argc, char** argv) {
    std::string file;
    std::string sysroot;
    std::string script;
    CLI::App app("An embedding process in front of " + nrx_console::televisionName() +
                     ". \"help\" lists its commands. A script ends at the first command that fails.",
                 NRX_PROGRAM);
    auto* const modelOption =
        app.add_option("--model", file, "JSON file of the television's objects; the shipped example by default");
    app.add_option("--sysroot", sysroot, "Directory that holds the television's own files")
        ->check(CLI::ExistingDirectory);
    if (!nrx_console::televisionIsSimulated()) {
        modelOption->group("");  // Refused below; not in the help.
    }
    auto const* const scriptOption = app.add_option("SCRIPT", script, "File of commands; standard input by default");
    app.set_version_flag("--version", NRX_PROGRAM " " NRX_VERSION);
    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& help) {
        return app.exit(help);
    } catch (CLI::ParseError const& error) {
        return fail(television::printable(error.what()));
    }

    if (modelOption->count() > 0 && !nrx_console::televisionIsSimulated()) {
        return fail("--model: found " + nrx_console::televisionName() + ", expected a simulated one to take objects");
    }
    bool const hasScript = scriptOption->count() > 0;
    bool const onTerminal = !hasScript && isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
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
        return fail(television::printable(script) + ": cannot be read, expected a file of commands");
    }
    nrx_console::Model model;
    try {
        bool const isGiven = modelOption->count() > 0;
        if (isGiven || nrx_console::televisionIsSimulated()) {
            model = nrx_console::loadModel(isGiven ? std::optional(file) : std::nullopt);
        }
    } catch (nrx_console::ModelError const& error) {
        return fail(error.what());
    }
    if (!model.example.empty()) {
        sysroot = sysroot.empty() ? model.example + "/sysroot" : sysroot;
        nrx_console::printLine("No model given: this is the example's television, of " +
                               nrx_console::typed(model.example + "/model.json"));
    }
    nrx_console::setSysroot(sysroot);

    nrx_console::Console console(nrx_console::makeTelevision(model.objects));
    return runInput(console, input, television::printable(script), onTerminal);
}

}  // namespace

int main(int argc, char** argv) try {
    int const status = run(argc, argv);
    if (status == 0 && !std::cout.flush()) {
        throw std::runtime_error("standard output cannot be written");
    }
    return status;
} catch (std::exception const& error) {
    fail(television::printable(error.what()));
    return EXIT_SCRIPT_FAILED;
}
