#include "tools/nrx_console/command.h"

namespace nrx_console {

namespace {

bool isOptional(std::string const& argument) { return argument.front() == '['; }

bool mayRepeat(std::string const& argument) { return argument.find("...") != std::string::npos; }

}  // namespace

void Command::expectNumberOf(Words const& given) const {
    std::size_t fewest = 0;
    std::size_t most = 0;
    for (std::string const& argument : wordsOf(arguments)) {
        fewest += isOptional(argument) || mayRepeat(argument) ? 0U : 1U;
        most = mayRepeat(argument) ? Words().max_size() : most + 1;
    }
    if (given.size() < fewest || given.size() > most) {
        throw CommandError("found " + std::to_string(given.size()) + (given.size() == 1 ? " argument" : " arguments") +
                           ", expected: " + usage());
    }
}

std::string Command::argumentAt(std::size_t position) const {
    Words const all = wordsOf(arguments);
    if (position < all.size()) {
        return all[position];
    }
    return !all.empty() && mayRepeat(all.back()) ? all.back() : "";
}

}  // namespace nrx_console
