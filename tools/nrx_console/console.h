#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/nrx_console/command.h"
#include "tools/nrx_console/facade_commands.h"
#include "tools/nrx_console/model_commands.h"
#include "tools/nrx_console/television_commands.h"

namespace nrx_console {

/// An embedding process in front of a television, which may be simulated, driven by lines of commands.
class Console {
public:
    /// Null for a television of whose inside nothing is known.
    explicit Console(std::unique_ptr<TelevisionCommands> television);
    Console(Console const&) = delete;
    Console& operator=(Console const&) = delete;
    ~Console();

    /// Carries out one line. Returns false for "quit"; throws `CommandError` or `ModelError`.
    bool execute(std::string const& line);
    /// What the last word of the line, perhaps an empty one, may become, as it can be typed. Throws `CommandError` when
    /// the words before it are none.
    [[nodiscard]] Words completions(std::string const& line) const;

private:
    /// The command that the words begin with, or null.
    [[nodiscard]] Command const* find(Words const& words) const;
    /// What commands begin with in another console, and not in this one, because of `whyMissing`.
    [[nodiscard]] Words missing() const;
    [[nodiscard]] char const* whyMissing() const;
    /// For words that no command begins with.
    [[nodiscard]] CommandError unknown(std::string const& found, std::string const& firstWord) const;
    void help(Words const& arguments) const;

    bool quit_ = false;
    std::unique_ptr<TelevisionCommands> const television_;
    ModelCommands model_;
    FacadeCommands facade_;
    Commands commands_;
};

}  // namespace nrx_console
