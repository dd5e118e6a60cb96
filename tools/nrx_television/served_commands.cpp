#include "tools/nrx_television/served_commands.h"

#include "tools/nrx_television/carried.h"

namespace nrx_television {

using nrx_console::Command;
using nrx_console::Words;

namespace {

/// Whether the words of the command may hold words, those of a table's rows.
bool hasRows(Words const& words, simulator::Television const& television) {
    if (words.size() < 4 || words[0] != "tv") {
        return false;
    }
    if (words[1] == "publish") {
        return words[3] == nrx_console::typeName(objbus::OBJECT_TYPE_TABLE);
    }
    return words[1] == "set" && television.type(nrx_console::keyOf(words[2])) == objbus::OBJECT_TYPE_TABLE;
}

}  // namespace

nrx_console::Commands ServedCommands::commands() {
    nrx_console::Commands all = television_.commands();
    for (Command& command : all) {
        if (command.name == "wait") {
            command.help = "wait until all notifications were delivered, and sent to the bus";
            command.run = [this](Words const& /*arguments*/) { server_.waitUntilSent(); };
        }
    }
    return all;
}

void expectCarried(std::string const& line, simulator::Television const& television) {
    Words const words = nrx_console::wordsOf(line);
    bool const nested = hasRows(words, television);
    for (std::string const& word : words) {
        if (!isCarried(word) || (nested && !isCarried(nrx_console::wordsOf(word)))) {
            throw nrx_console::unexpected(word, "UTF-8 without zero bytes and noncharacters, which the bus carries");
        }
    }
}

}  // namespace nrx_television
