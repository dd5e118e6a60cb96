#pragma once

#include <string>
#include <vector>

#include "tools/nrx_console/command.h"
#include "tools/nrx_console/facade_commands.h"
#include "tools/nrx_console/model_commands.h"
#include "tools/nrx_console/television_commands.h"

namespace nrx_console {

/// A simulated television and an embedding process in front of it, driven by lines of commands.
class Console {
public:
    explicit Console(std::vector<ModelObject> const& model);
    Console(Console const&) = delete;
    Console& operator=(Console const&) = delete;
    ~Console();

    /// Carries out one line. Returns false for "quit"; throws `CommandError` or `ModelError`.
    bool execute(std::string const& line);
    /// The words by which the last word of the line, perhaps an empty one, may be continued.
    [[nodiscard]] Words completions(std::string const& line) const;

private:
    /// The command that the words begin with, or null.
    [[nodiscard]] Command const* find(Words const& words) const;
    void help(Words const& arguments) const;

    bool quit_ = false;
    TelevisionCommands television_;
    ModelCommands model_;
    FacadeCommands facade_;
    Commands commands_;
};

}  // namespace nrx_console
