#include "tools/nrx_console/command.h"

#include <algorithm>
#include <cctype>

namespace nrx_console {

namespace {

bool isOptional(std::string const& argument) { return argument.front() == '['; }

bool isRepeated(std::string const& argument) { return argument.find("...") != std::string::npos; }

/// Returns whether the choice is a literal, which an argument must equal. The short form of a key is no literal,
/// because an argument may also be the full key.
bool isLiteral(std::string const& choice) { return !isPlaceholder(choice) && expandShortKey(choice) == choice; }

}  // namespace

bool isPlaceholder(std::string const& choice) {
    return std::any_of(choice.begin(), choice.end(), [](unsigned char sign) { return std::isupper(sign) != 0; });
}

Words Command::choicesAt(std::size_t position) const {
    Words const all = wordsOf(arguments);
    if (all.empty() || (position >= all.size() && !isRepeated(all.back()))) {
        return {};
    }
    std::string choices = all[std::min(position, all.size() - 1)];
    std::erase_if(choices, [](char sign) { return sign == '[' || sign == ']' || sign == '.'; });
    std::replace(choices.begin(), choices.end(), '|', ' ');
    return wordsOf(choices);
}

void Command::checkArguments(Words const& given) const {
    Words const all = wordsOf(arguments);
    auto const fewest = std::count_if(all.begin(), all.end(), [](std::string const& argument) {
        return !isOptional(argument) && !isRepeated(argument);
    });
    if (std::ssize(given) < fewest || (given.size() > all.size() && choicesAt(given.size()).empty())) {
        throw CommandError("found " + std::to_string(given.size()) + (given.size() == 1 ? " argument" : " arguments") +
                           ", expected: " + usage());
    }
    for (std::size_t at = 0; at < given.size(); ++at) {
        Words const choices = choicesAt(at);
        if (std::all_of(choices.begin(), choices.end(), isLiteral) &&
            std::find(choices.begin(), choices.end(), given[at]) == choices.end()) {
            throw unexpected(given[at], joinAsAlternatives(choices));
        }
    }
}

}  // namespace nrx_console
