#include "tools/nrx_television/served_commands.h"

#include <cerrno>

#include "bus/protocol/message.h"
#include "bus/server/report.h"

namespace nrx_television {

using nrx_console::Command;
using nrx_console::Words;

nrx_console::Commands ServedTelevisionCommands::commands() {
    nrx_console::Commands all = television_.commands();
    for (Command& command : all) {
        if (command.name == "wait") {
            command.help = "wait until all notifications were delivered, and sent to the bus";
            command.run = [this](Words const& /*arguments*/) { server_.waitUntilSent(); };
        }
    }
    return all;
}

void requireValidText(nrx_console::Content const& content) {
    auto const* const value = std::get_if<television::Value>(&content);
    auto const* const rows = std::get_if<television::Rows>(&content);
    bool const isValid = value != nullptr
                             ? std::visit([](auto const& typed) { return bus::hasValidText(typed); }, *value)
                             : rows == nullptr || bus::hasValidText(*rows);
    if (!isValid) {
        throw nrx_console::CommandError(bus::server::reasonOf(-EILSEQ));
    }
}

}  // namespace nrx_television
