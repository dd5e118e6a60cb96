#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>

#include "television/printable.h"
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

constexpr int EXIT_COMMAND_FAILED = 1;
constexpr int EXIT_NOT_SERVED = 1;
constexpr int EXIT_NOT_STARTED = 2;

void say(std::string const& what) { std::cerr << "nrx_television: " + what + "\n"; }

/// What came of the options: the status of the program when there is nothing left to do.
struct Options {
    std::string address;
    std::string model;
    bool hasModel = false;
    bool commands = false;
    std::optional<int> status;
};

Options parse(int argc, char** argv) {
    Options options;
    CLI::App app("A simulated television on a message bus, under the name nrx.Television1, until SIGTERM or SIGINT.",
                 "nrx_television");
    app.add_option("--address", options.address,
                   "Address of the bus; by default that in NRX_BUS_ADDRESS, or the session's");
    auto const* const modelOption = app.add_option(
        "--model", options.model, "JSON file of the television's objects; the shipped example by default");
    app.add_flag("--commands", options.commands, "Carry out the console's commands from standard input");
    app.set_version_flag("--version", "nrx_television " NRX_VERSION);
    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& help) {
        options.status = app.exit(help);
    } catch (CLI::ParseError const& error) {
        say(television::printable(error.what()));
        options.status = EXIT_NOT_STARTED;
    }
    options.hasModel = modelOption->count() > 0;
    return options;
}

/// The objects of the television, all of which the bus carries. Throws `ModelError`.
std::vector<nrx_console::ModelObject> loadObjects(Options const& options) {
    auto model = nrx_console::loadModel(options.hasModel ? std::optional(options.model) : std::nullopt);
    for (auto const& [key, content] : model.objects) {
        auto const* const value = std::get_if<television::Value>(&content);
        auto const* const rows = std::get_if<television::Rows>(&content);
        if ((value != nullptr && !nrx_television::isCarried(*value)) ||
            (rows != nullptr && !nrx_television::isCarried(*rows))) {
            throw nrx_console::ModelError(nrx_console::typed(options.model) + ": " + nrx_console::typed(key) + ": " +
                                          nrx_television::reasonOf(-EILSEQ));
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
    Options const options = parse(argc, argv);
    if (options.status) {
        return *options.status;
    }
    std::vector<nrx_console::ModelObject> objects;
    try {
        objects = loadObjects(options);
    } catch (nrx_console::ModelError const& error) {
        say(error.what());
        return EXIT_NOT_STARTED;
    }
    bus::Bus bus = nrx_television::connectedBus(options.address);  // May take long, and is ended by a signal.
    blockEndingSignals();
    nrx_television::Ground ground;
    nrx_console::SimulatedTelevision television(objects);
    nrx_television::Server server(television.television(), ground, std::move(bus));
    server.requestName();
    nrx_console::printLine(std::string("serving ") + bus::SERVICE + ": " + std::to_string(server.objects()) +
                           (server.objects() == 1 ? " object" : " objects"));
    return serve(television, server, ground.loop.get(), options.commands);
}

}  // namespace

int main(int argc, char** argv) try {
    int const status = run(argc, argv);
    if (status == 0 && !std::cout.flush()) {
        throw std::runtime_error("standard output cannot be written");
    }
    return status;
} catch (std::exception const& error) {
    say(television::printable(error.what()));
    return EXIT_NOT_SERVED;
}
