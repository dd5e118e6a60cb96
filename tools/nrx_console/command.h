#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/nrx_console/words.h"

namespace nrx_console {

/// One command of the console.
struct Command {
    std::string name;  ///< One word or more.
    /// One word for each argument: the choices, separated by bars. A choice in capitals is a placeholder. Brackets mark
    /// an optional argument. Dots mark a last argument that may be repeated.
    std::string arguments;
    std::string help;
    std::function<void(Words const& arguments)> run;

    [[nodiscard]] std::string usage() const { return arguments.empty() ? name : name + " " + arguments; }
    /// The choices for the argument at the position. No choices if the command takes no argument there.
    [[nodiscard]] Words choicesAt(std::size_t position) const;
    /// Throws `CommandError` for a wrong number of arguments, and for an argument that is none of the position's
    /// choices. Accepts any argument if one of the position's choices is a placeholder or the short form of a key.
    void checkArguments(Words const& given) const;
};

using Commands = std::vector<Command>;

bool isPlaceholder(std::string const& choice);

}  // namespace nrx_console
