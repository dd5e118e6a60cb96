#pragma once

#include <memory>
#include <vector>

#include "tools/nrx_console/command.h"
#include "tools/nrx_console/model_file.h"

namespace nrx_console {

/// What can be done with the television from inside it.
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

/// A simulated television with these objects, which is on until it is destroyed; null where the program is linked with
/// a television's own platform library, which has its own.
std::unique_ptr<TelevisionCommands> makeTelevision(std::vector<ModelObject> const& model);

/// Whether `makeTelevision` makes one.
bool televisionIsSimulated();

/// Prints the log's lines as lines of the console's, or no longer, where the television lets it.
void printLog(bool here);

}  // namespace nrx_console
