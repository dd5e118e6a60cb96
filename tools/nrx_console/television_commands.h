#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/nrx_console/command.h"
#include "tools/nrx_console/model_file.h"

namespace nrx_console {

/// What can be done with the television from inside it, or over its bus.
class TelevisionCommands {
public:
    TelevisionCommands() = default;
    TelevisionCommands(TelevisionCommands const&) = delete;
    TelevisionCommands& operator=(TelevisionCommands const&) = delete;
    virtual ~TelevisionCommands() = default;

    /// They refer to this object.
    virtual Commands commands() = 0;
    /// Makes the television reachable: a client cannot detach itself from one that it does not find.
    virtual void restore() = 0;
    [[nodiscard]] virtual Words keys() const = 0;
};

// What the platform library decides that a program is linked with. Each program has one set of definitions.

/// A simulated television with these objects, which is on until it is destroyed; or one on a message bus, which has its
/// own objects; null for a television of whose inside nothing is known.
std::unique_ptr<TelevisionCommands> makeTelevision(std::vector<ModelObject> const& model);

/// Whether `makeTelevision` makes a simulated one, which takes the objects.
bool televisionIsSimulated();

/// What the program says that it is in front of.
std::string televisionName();

/// Prints the log's lines as lines of the console's, or no longer, where the television lets it.
void printLog(bool here);

}  // namespace nrx_console
