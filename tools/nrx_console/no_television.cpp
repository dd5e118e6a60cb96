#include "tools/nrx_console/television_commands.h"

// Implements television_commands.h for a program that is linked with the platform library of a real television. The
// program can access the television only as a client.

namespace nrx_console {

std::unique_ptr<TelevisionCommands> makeTelevisionCommands(std::vector<ModelObject> const& /*model*/) {
    return nullptr;
}

void setLogRedirectedToConsole(bool /*isRedirected*/) {}

int pingBusTelevision() { return 0; }

bool televisionIsSimulated() { return false; }

std::string televisionDescription() { return "a real television"; }

}  // namespace nrx_console
