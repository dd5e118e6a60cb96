#include <unistd.h>

#include <csignal>
#include <optional>

#include "tools/command_line/command_line.h"
#include "tools/nrx_console/console.h"
#include "tools/nrx_console/example_model.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/session.h"
#include "tools/nrx_console/simulated_television.h"
#include "tools/nrx_television/carried.h"
#include "tools/nrx_television/line_input.h"
#include "tools/nrx_television/served_commands.h"
#include "tools/nrx_television/server.h"

namespace {

constexpr char PROGRAM[] = "nrx_television";
constexpr int EXIT_COMMAND_FAILED = 1;
constexpr int EXIT_NOT_SERVED = 1;

/// The objects of the television, all of which the bus carries. Throws `ModelError`.
std::vector<nrx_console::ModelObject> loadObjects(std::optional<std::string> const& file) {
    auto model = nrx_console::loadModel(file);
    for (auto const& [key, content] : model.objects) {
        auto const* const value = std::get_if<television::Value>(&content);
        auto const* const rows = std::get_if<television::Rows>(&content);
        if ((value != nullptr && !nrx_television::isCarried(*value)) ||
            (rows != nullptr && !nrx_television::isCarried(*rows))) {
            throw nrx_console::ModelError(nrx_console::typed(file.value_or("")) + ": " + nrx_console::typed(key) +
                                          ": " + nrx_television::reasonOf(-EILSEQ));
        }
    }
    return std::move(model.objects);
}

/// The loop takes these; the other threads inherit that they do not.
void blockEndingSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
}

/// Serves until the program is told to end, and returns its status.
int serve(nrx_console::SimulatedTelevision& television, nrx_television::Server& server, sd_event* loop, bool commands) {
    std::optional<nrx_console::Console> console;
    std::optional<nrx_television::LineInput> input;
    if (commands) {
        console.emplace(std::make_unique<nrx_television::ServedCommands>(television, server));
        input.emplace(loop, STDIN_FILENO);
    }
    auto const execute = [&television, &console](std::string const& line) {
        nrx_television::expectCarried(line, television.television());
        return console->execute(line);
    };
    int status = 0;
    while (server.turn(!input || !input->hasLine())) {
        auto const line = input ? input->takeLine() : std::nullopt;
        if (!line) {
            continue;
        }
        auto const outcome = nrx_console::runLine(*line, "standard input:" + std::to_string(input->number()), execute);
        if (outcome == nrx_console::Outcome::quit) {
            break;
        }
        status = outcome == nrx_console::Outcome::failed ? EXIT_COMMAND_FAILED : status;
    }
    return status;
}

int run(int argc, char** argv) {
    std::optional<std::string> address;
    std::optional<std::string> model;
    bool hasCommands = false;
    command_line::CommandLine words(
        PROGRAM, "A simulated television on a message bus, under the name nrx.Television1, until SIGTERM or SIGINT.");
    words.addText("--address", address, "Address of the bus; by default that in NRX_BUS_ADDRESS, or the session's");
    words.addText("--model", model, "JSON file of the television's objects; the shipped example by default");
    words.addFlag("--commands", hasCommands, "Carry out the console's commands from standard input");
    if (auto const status = words.parse(argc, argv)) {
        return *status;
    }
    std::vector<nrx_console::ModelObject> objects;
    try {
        objects = loadObjects(model);
    } catch (nrx_console::ModelError const& error) {
        command_line::complain(PROGRAM, error.what());
        return command_line::EXIT_NOT_STARTED;
    }
    bus::Bus bus = nrx_television::connectedBus(address.value_or(""));  // May take long, and is ended by a signal.
    blockEndingSignals();
    nrx_television::Ground ground;
    nrx_console::SimulatedTelevision television(objects, hasCommands);
    nrx_television::Server server(television.television(), ground, std::move(bus));
    server.requestName();
    nrx_console::printLine(std::string("serving ") + bus::SERVICE + ": " + std::to_string(server.objects()) +
                           (server.objects() == 1 ? " object" : " objects"));
    return serve(television, server, ground.loop.get(), hasCommands);
}

}  // namespace

int main(int argc, char** argv) { return command_line::runProgram(PROGRAM, EXIT_NOT_SERVED, run, argc, argv); }
