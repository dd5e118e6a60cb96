#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/nrx_console/command.h"
#include "tools/nrx_console/model_file.h"

namespace nrx_console {

/// The commands for the television itself, in its process or over its bus.
class TelevisionCommands {
public:
    TelevisionCommands() = default;
    TelevisionCommands(TelevisionCommands const&) = delete;
    TelevisionCommands& operator=(TelevisionCommands const&) = delete;
    virtual ~TelevisionCommands() = default;

    /// The commands refer to this object.
    virtual Commands commands() = 0;
    /// Makes the television reachable, so that clients can disconnect.
    virtual void makeReachable() = 0;
    [[nodiscard]] virtual Words keys() const = 0;
};

// The program's platform library decides which of the definitions of these operations is linked.

/// Makes a simulated television with these objects, which is switched on until it is destroyed; or the access to a
/// television on a message bus, which has its own objects. Null for a real television.
std::unique_ptr<TelevisionCommands> makeTelevision(std::vector<ModelObject> const& model);

/// The status that a television on a message bus fails with now; 0 if it answers, and for every other television.
int televisionStatus();

/// Whether `makeTelevision` makes a simulated television from the objects.
bool televisionIsSimulated();

/// The description of the television in the program's texts.
std::string televisionName();

/// Starts or stops printing the lines of the log as lines of the console, where the platform library supports it.
void printLog(bool here);

}  // namespace nrx_console
