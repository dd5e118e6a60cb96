#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/nrx_console/words.h"

namespace nrx_console {

/// A terminal on standard input, where lines are edited; there is one at a time. Lines printed meanwhile, by whichever
/// thread, appear above the prompt.
class Terminal {
public:
    /// Completes the last word of a line: returns what it may be.
    using Complete = std::function<Words(std::string const& line)>;

    /// Takes what was typed earlier from the file `history`, and keeps it there; not when that is empty.
    Terminal(std::string history, Complete complete);
    Terminal(Terminal const&) = delete;
    Terminal& operator=(Terminal const&) = delete;
    ~Terminal();

    /// The next line, without its end; nothing at the end of the input.
    std::optional<std::string> readLine();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace nrx_console
