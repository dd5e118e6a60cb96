#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <utility>

#include "bus/server/permissions.h"
#include "bus/server/server.h"
#include "tools/command_line/command_line.h"
#include "tools/nrx_console/console.h"
#include "tools/nrx_console/example_model.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/session.h"
#include "tools/nrx_console/simulated_television.h"
#include "tools/nrx_television/line_input.h"
#include "tools/nrx_television/served_commands.h"

namespace {

using bus::server::Access;
using bus::server::Permissions;
using bus::server::Server;

constexpr char PROGRAM[] = "nrx_television";
constexpr int EXIT_COMMAND_FAILED = 1;
constexpr int EXIT_NOT_SERVED = 1;

/// Loads the objects of the television. Throws `ModelError` if the file is not a valid model, or if an object has text
/// that cannot be sent over the bus.
std::vector<nrx_console::ModelObject> loadObjects(std::optional<std::string> const& file) {
    auto model = nrx_console::loadModelOrExampleIfInstalled(file);
    for (auto const& [key, content] : model.objects) {
        try {
            nrx_television::requireValidText(content);
        } catch (nrx_console::CommandError const& error) {
            throw nrx_console::ModelError(nrx_console::typed(file.value_or("")) + ": " + nrx_console::typed(key) +
                                          ": " + error.what());
        }
    }
    return std::move(model.objects);
}

/// Returns the address of the system bus: the value of the variable that D-Bus libraries read, or the default address
/// of these libraries.
std::string systemBusAddress() {
    char const* const address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    return address != nullptr && *address != '\0' ? address : "unix:path=/run/dbus/system_bus_socket";
}

/// Gives `access` to the users and groups in `names`, the values of `option`. Throws `std::runtime_error` for an
/// unknown name.
void allow(Permissions& permissions, std::string const& option, std::vector<std::string> const& names, Access access) {
    for (std::string const& name : names) {
        if (!permissions.grantAtLeast(name, access)) {
            throw std::runtime_error(
                option + ": " +
                nrx_console::unexpected(name, "a user's name or number, a group's after an @, or any").what());
        }
    }
}

/// Blocks the signals that the event loop handles. Threads that are started later inherit the blocked signals.
void blockTerminationSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

/// Serves until a signal or the command "quit" ends the program. Returns the exit status.
int serve(nrx_console::SimulatedTelevision& television, Server& server, sd_event* loop, bool commands) {
    std::optional<nrx_console::Console> console;
    std::optional<nrx_television::LineInput> input;
    if (commands) {
        console.emplace(std::make_unique<nrx_television::ServedTelevisionCommands>(television, server));
        input.emplace(loop, STDIN_FILENO);
    }
    auto const execute = [&console](std::string const& line) { return console->executeUnlessQuit(line); };
    int status = 0;
    while (server.runOnceUnlessTerminated(!input || !input->hasLine())) {
        auto const line = input ? input->takeLineIfAny() : std::nullopt;
        if (!line) {
            continue;
        }
        auto const outcome =
            nrx_console::runLine(*line, "standard input:" + std::to_string(input->lineNumber()), execute);
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
    bool isOnSystemBus = false;
    std::vector<std::string> allowed;
    std::vector<std::string> reading;
    bool hasCommands = false;
    command_line::CommandLine words(
        PROGRAM, "A simulated television on a message bus, under the name nrx.Television1, until SIGTERM or SIGINT.");
    words.addText("--address", address, "Address of the bus; by default that in NRX_BUS_ADDRESS, or the session's");
    words.addFlag("--system", isOnSystemBus, "Serve on the system's bus");
    words.addRepeatableText(
        "--allow", allowed,
        "Serve this user, too (by name or number), this group (after an @) or any; may be repeated");
    words.addRepeatableText("--allow-reading", reading, "The same, but they may only read");
    words.addText("--model", model, "JSON file of the television's objects; the shipped example by default");
    words.addFlag("--commands", hasCommands, "Carry out the console's commands from standard input");
    if (auto const status = words.parse(argc, argv)) {
        return *status;
    }
    std::vector<nrx_console::ModelObject> objects;
    Permissions permissions;
    try {
        if (isOnSystemBus && std::exchange(address, systemBusAddress())) {
            throw std::runtime_error("found --address and --system, expected one of them");
        }
        allow(permissions, "--allow", allowed, Access::ALL);
        allow(permissions, "--allow-reading", reading, Access::READ);
        objects = loadObjects(model);
    } catch (std::runtime_error const& error) {
        command_line::printError(PROGRAM, error.what());
        return command_line::EXIT_INVALID_INPUT;
    }
    // The connect may take long. The signals are blocked only afterwards, so that a signal can end the connect.
    bus::Bus bus = bus::server::connectToBus(address.value_or(""));
    blockTerminationSignals();
    bus::server::ServerLoop loop;
    nrx_console::SimulatedTelevision television(objects, hasCommands, nrx_television::requireValidText);
    Server server(television.television(), loop, std::move(bus), std::move(permissions));
    server.requestName();
    nrx_console::printLine(std::string("serving ") + bus::SERVICE + ": " + std::to_string(server.objectCount()) +
                           (server.objectCount() == 1 ? " object" : " objects"));
    return serve(television, server, loop.loop.get(), hasCommands);
}

}  // namespace

int main(int argc, char** argv) { return command_line::runMain(PROGRAM, EXIT_NOT_SERVED, run, argc, argv); }
