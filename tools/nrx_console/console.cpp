#include "tools/nrx_console/console.h"

#include <algorithm>
#include <set>
#include <utility>

#include "tools/nrx_console/output.h"

namespace nrx_console {

namespace {

bool beginsWith(Words const& words, Words const& first) {
    return words.size() >= first.size() && std::equal(first.begin(), first.end(), words.begin());
}

/// Replaces a synonym by the name of the command.
std::string fullName(std::string const& word) { return word == "?" ? "help" : word == "exit" ? "quit" : word; }

/// The command whose name the words begin with, or null.
Command const* find(Commands const& commands, Words const& words) {
    auto const found = std::find_if(commands.begin(), commands.end(), [&words](Command const& command) {
        return beginsWith(words, wordsOf(command.name));
    });
    return found != commands.end() ? &*found : nullptr;
}

/// The first words of the commands that this console lacks. These commands need more access to the television than
/// this console has.
Words missingFrom(Commands const& commands) {
    Words missing{"list", "show", "table", "wait", "tv"};
    for (Command const& command : commands) {
        std::erase(missing, wordsOf(command.name).front());
    }
    return missing;
}

std::string reasonMissing(bool isOtherProcess) {
    return isOtherProcess ? "the television is another process, \"nrx_television --commands\" has them"
                          : "nobody is inside a real television";
}

}  // namespace

Console::Console(std::unique_ptr<TelevisionCommands> televisionCommands)
    : televisionCommands_(std::move(televisionCommands)) {
    auto const quit = [this](auto const&) { quit_ = true; };
    auto const showHelp = [this](auto const& arguments) { help(arguments); };
    Commands const own = televisionCommands_ ? televisionCommands_->commands() : Commands();
    for (Commands const& commands : {facadeCommands(access_), clientObjectCommands_.commands(), own}) {
        commands_.insert(commands_.end(), commands.begin(), commands.end());
    }
    commands_.push_back(
        {"help", "[COMMAND...]", "list the commands, or those that begin with COMMAND; also ?", showHelp});
    commands_.push_back({"quit", "", "end the program; also exit", quit});
}

Console::~Console() {
    if (televisionCommands_) {
        televisionCommands_->clearRootLookupFault();
    }
}

bool Console::executeUnlessQuit(std::string const& line) {
    Words words = wordsOf(line);
    if (words.empty() || words.front().starts_with('#')) {
        return true;
    }
    words.front() = fullName(words.front());
    Command const* const command = find(commands_, words);
    if (command == nullptr) {
        throw unknownCommandError(words);
    }
    Words const arguments(words.begin() + static_cast<std::ptrdiff_t>(wordsOf(command->name).size()), words.end());
    command->checkArguments(arguments);
    command->run(arguments);
    return !quit_;
}

Words Console::completions(std::string const& line) const {
    std::string const word = line.substr(lastWordPosition(line));
    Words const before = wordsOf(line.substr(0, line.size() - word.size()));
    std::set<std::string> candidates;
    for (Command const& command : commands_) {
        Words const name = wordsOf(command.name);
        if (name.size() > before.size() && beginsWith(name, before)) {
            candidates.insert(name[before.size()]);
        }
    }
    if (Command const* const command = find(commands_, before)) {
        for (std::string const& choice : command->choicesAt(before.size() - wordsOf(command->name).size())) {
            if (choice == "KEY" || choice == "PREFIX") {
                candidates.insert({"command", "event"});  // The short forms of two keys.
                for (std::string const& key : televisionCommands_ ? televisionCommands_->keys() : Words()) {
                    candidates.insert(typed(key));
                }
            } else if (!isPlaceholder(choice)) {
                candidates.insert(choice);
            }
        }
    }
    std::erase_if(candidates, [&word](std::string const& candidate) { return !candidate.starts_with(word); });
    return {candidates.begin(), candidates.end()};
}

CommandError Console::unknownCommandError(Words const& words) const {
    Words const missing = missingFrom(commands_);
    if (std::find(missing.begin(), missing.end(), words.front()) != missing.end()) {
        return unexpected(typed(words), "another command: " + reasonMissing(televisionCommands_ != nullptr));
    }
    Words forms;  // The usages of commands whose names have more than two words and share the first two with `words`.
    for (Command const& command : commands_) {
        Words const name = wordsOf(command.name);
        if (name.size() > 2 && beginsWith(words, {name.begin(), name.begin() + 2})) {
            forms.push_back(command.usage());
        }
    }
    return unexpected(typed(words), forms.empty() ? "a command that \"help\" lists" : joinAsAlternatives(forms));
}

void Console::help(Words const& arguments) const {
    std::string const begin = fullName(typed(arguments));
    Commands listed;
    std::copy_if(commands_.begin(), commands_.end(), std::back_inserter(listed),
                 [begin](Command const& command) { return command.name.starts_with(begin); });
    if (listed.empty()) {
        throw unknownCommandError(arguments);
    }
    constexpr std::size_t COLUMN = 34;
    for (Command const& command : listed) {
        std::string line = command.usage();
        if (line.size() + 2 > COLUMN) {
            printLine(line);
            line.clear();
        }
        line.resize(COLUMN, ' ');
        printLine(line + command.help);
    }
    if (arguments.empty()) {
        printLine(R"(A KEY may be command or event for short. In quotes: "channel 5", and \n \r \t \" \\ \xHH.)");
    }
    if (Words const missing = missingFrom(commands_); !missing.empty()) {
        printLine("Not here: " + typed(missing) + "; " + reasonMissing(televisionCommands_ != nullptr) + ".");
    }
}

}  // namespace nrx_console
