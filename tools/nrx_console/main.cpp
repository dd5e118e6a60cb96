#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <utility>

#include "television/printable.h"
#include "tools/command_line/command_line.h"
#include "tools/nrx_console/console.h"
#include "tools/nrx_console/device_check.h"
#include "tools/nrx_console/example_model.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/session.h"
#include "tools/nrx_console/sysroot.h"

namespace {

constexpr int EXIT_FAILED = 1;

int fail(std::string const& what) {
    command_line::printError(NRX_PROGRAM, what);
    return command_line::EXIT_INVALID_INPUT;
}

int run(int argc, char** argv) {
    std::setlocale(LC_CTYPE, "");  // Sets the encoding of characters on the terminal.
    std::optional<std::string> file;
    std::optional<std::string> sysroot;
    std::optional<std::string> script;
    command_line::CommandLine words(NRX_PROGRAM,
                                    "A process with access to " + nrx_console::televisionDescription() +
                                        ". \"help\" lists the commands. A script ends at the first error.");
    if (nrx_console::televisionIsSimulated()) {
        words.addText("--model", file, "JSON file with the television's objects; the shipped example by default");
    }
    words.addExistingDirectory("--sysroot", sysroot, "Directory with the television's own files");
    words.addText("SCRIPT", script, "File with commands; standard input by default");
    bool isCheck = false;
    std::optional<std::string> checkedKey;
    words.addCommand("check", isCheck, "Check whether the television has what the library needs, instead of a script",
                     "KEY", checkedKey,
                     "Also check whether a disconnect from this value waits; writes the value back that it reads");
    if (auto const status = words.parse(argc, argv)) {
        return *status;
    }

    bool const onTerminal = !script && isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
    std::ifstream scriptFile;
    if (script) {
        scriptFile.open(*script);
    }
    std::string const name = television::printable(script.value_or("standard input"));
    std::istream& input = script ? scriptFile : std::cin;
    if (!onTerminal && !isCheck) {
        input.peek();  // Fails for a directory. Opening a directory succeeds.
    }
    if (input.fail() || std::ferror(stdin) != 0) {  // std::cin treats a failed read as the end of the input.
        return fail(name + ": cannot be read, expected a file of commands");
    }
    nrx_console::TelevisionModel model;
    try {
        if (nrx_console::televisionIsSimulated()) {
            model = nrx_console::loadModelOrExampleIfInstalled(file);
        }
    } catch (nrx_console::ModelError const& error) {
        return fail(error.what());
    }
    if (!model.shippedExampleDirectory.empty()) {
        sysroot = sysroot.value_or(model.shippedExampleDirectory + "/sysroot");
        nrx_console::printLine("No model given: this is the example's television, of " +
                               nrx_console::typed(model.shippedExampleDirectory + "/model.json"));
    }
    nrx_console::redirectDeviceFileOpens(sysroot.value_or(""));

    auto television = nrx_console::makeTelevisionCommands(model.objects);
    if (isCheck) {
        return nrx_console::checkFacadeRequirements(checkedKey) ? 0 : EXIT_FAILED;
    }
    nrx_console::Console console(std::move(television));
    if (onTerminal) {
        runOnTerminal(console);
        return 0;
    }
    return runScript(console, input, name) ? 0 : EXIT_FAILED;
}

}  // namespace

int main(int argc, char** argv) { return command_line::runMain(NRX_PROGRAM, EXIT_FAILED, run, argc, argv); }
