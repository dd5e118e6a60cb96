#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/nrx_console/command.h"
#include "tools/nrx_console/facade_commands.h"
#include "tools/nrx_console/model_commands.h"
#include "tools/nrx_console/television_commands.h"

namespace nrx_console {

/// Executes lines with one command each. The commands use the television, a facade, and the access objects of single
/// keys.
class Console {
public:
    /// `televisionCommands` is null for a television that the console can access only as a client.
    explicit Console(std::unique_ptr<TelevisionCommands> televisionCommands);
    Console(Console const&) = delete;
    Console& operator=(Console const&) = delete;
    ~Console();

    /// Executes one line. Returns false for "quit". Throws `CommandError` or `ModelError`.
    bool executeUnlessQuit(std::string const& line);
    /// The possible completions of the line's last word, each as a user types it. The last word may be empty. Throws
    /// `CommandError` if the text before the last word cannot be split into words.
    [[nodiscard]] Words completions(std::string const& line) const;

private:
    /// The error for words that are not a command.
    [[nodiscard]] CommandError unknownCommandError(Words const& words) const;
    void help(Words const& arguments) const;

    bool quit_ = false;
    std::unique_ptr<TelevisionCommands> const televisionCommands_;
    ClientObjectCommands clientObjectCommands_;
    PrintingClient client_;
    orvane::NRXModelAccess access_{&client_};
    Commands commands_;
};

}  // namespace nrx_console
