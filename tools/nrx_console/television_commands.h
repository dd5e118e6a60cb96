#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/nrx_console/command.h"
#include "tools/nrx_console/model_file.h"

namespace nrx_console {

/// The commands for the television itself, not for its clients. The television runs in the console's process or on a
/// bus.
class TelevisionCommands {
public:
    TelevisionCommands() = default;
    TelevisionCommands(TelevisionCommands const&) = delete;
    TelevisionCommands& operator=(TelevisionCommands const&) = delete;
    virtual ~TelevisionCommands() = default;

    /// The commands refer to this object.
    virtual Commands commands() = 0;
    /// Makes lookups of the root interface succeed again, so that clients can disconnect.
    virtual void clearRootLookupFault() = 0;
    [[nodiscard]] virtual Words keys() const = 0;
};

// The functions below have several definitions. The build links the definitions that fit the program's platform
// library.

/// Returns the commands for the program's television. With the simulator, makes a television that has the objects of
/// `model`. This television is on until the returned object is destroyed. For a television on a message bus, ignores
/// `model`. For a real television, returns null.
std::unique_ptr<TelevisionCommands> makeTelevisionCommands(std::vector<ModelObject> const& model);

/// Calls a television on a message bus, and waits until the notifications that it sent before its reply are delivered.
/// Returns 0 after a reply, and otherwise another status. Returns 0 at once for any other television.
int pingBusTelevision();

/// Whether `makeTelevisionCommands` makes a simulated television from the objects of `model`.
bool televisionIsSimulated();

/// Returns the text that stands for the television in the program's help.
std::string televisionDescription();

/// Selects whether the console prints the lines of the log, between its own lines. Otherwise the platform library
/// writes the log to standard error. Has no effect if the platform library cannot redirect the log.
void setLogRedirectedToConsole(bool isRedirected);

}  // namespace nrx_console
