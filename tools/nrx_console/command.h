#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/nrx_console/words.h"

namespace nrx_console {

/// One command of the console.
struct Command {
    std::string name;  ///< One word or more.
    /// One word for each argument: the words that it may be, parted by bars, or in capitals what it stands for; in
    /// brackets when it may be left out, and with dots behind it when any number may follow.
    std::string arguments;
    std::string help;
    std::function<void(Words const& arguments)> run;

    [[nodiscard]] std::string usage() const { return arguments.empty() ? name : name + " " + arguments; }
    /// Throws `CommandError` unless there are as many arguments as the command takes.
    void expectNumberOf(Words const& given) const;
    /// What the argument at the position may be, in the form above; empty when there is none.
    [[nodiscard]] std::string argumentAt(std::size_t position) const;
};

using Commands = std::vector<Command>;

}  // namespace nrx_console
