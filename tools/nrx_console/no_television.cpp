#include "tools/nrx_console/television_commands.h"

// Where the program is linked with a television's own platform library: nobody is inside that television.

namespace nrx_console {

std::unique_ptr<TelevisionCommands> makeTelevision(std::vector<ModelObject> const& /*model*/) { return nullptr; }

void printLog(bool /*here*/) {}

bool televisionIsSimulated() { return false; }

std::string televisionName() { return "a real television"; }

}  // namespace nrx_console
