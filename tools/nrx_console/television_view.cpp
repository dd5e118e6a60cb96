#include "tools/nrx_console/television_view.h"

#include "television/log.h"
#include "television/table_iterator.h"
#include "television/value.h"
#include "tools/nrx_console/model_commands.h"

namespace nrx_console {

namespace {

/// Keeps the rows that were read last. Needs no mutex, because the command uses the members only after all
/// notifications have been delivered.
class RowReader final : public orvane::system::support::IteratorHandler {
public:
    void handleCommit(int /*status*/) override {}
    void handleTotalCount(int count) override { total = count; }
    void handleSeekToRow(int /*row*/) override {}
    void handleSeekToContent(int /*row*/) override {}
    void handleCursorPosition(int /*row*/) override {}
    void handleReadRow(std::vector<std::string> const& /*row*/) override {}
    void handleReadRowChunk(std::vector<std::vector<std::string> const*> const& chunk) override {
        rows.clear();
        for (auto const* const row : chunk) {
            rows.push_back(*row);
        }
    }
    void handleIteratorReady(int /*status*/) override {}
    void handleUpdate(int /*update*/) override {}

    int total = 0;
    television::Rows rows;
};

}  // namespace

void printTelevisionPresence(television::Presence presence, LineKind kind) {
    using television::Presence;
    printLine(std::string("television: ") + (presence == Presence::reached ? "reached"
                                             : presence == Presence::back  ? "back"
                                                                           : "gone"),
              kind);
}

Commands ObjectListingCommands::commands() {
    return {
        {"list", "[PREFIX]", "list the television's objects", [this](auto const& arguments) { list(arguments); }},
        {"show", "KEY", "show the type, the value and more of an object",
         [this](auto const& arguments) { show(arguments); }},
        {"table", "KEY", "print the rows of a table", [this](auto const& arguments) { showTableRows(arguments); }},
        {"wait", "", "wait until all notifications are delivered",
         [this](auto const&) { waitUntilNotificationsDelivered(); }},
    };
}

Words ObjectListingCommands::keys() const {
    Words keys;
    for (auto const& [key, type] : objects()) {
        keys.push_back(key);
    }
    return keys;
}

void ObjectListingCommands::list(Words const& arguments) {
    for (auto const& [key, type] : objects()) {
        if (arguments.empty() || key.starts_with(expandShortKey(arguments[0]))) {
            printLine(typed(key) + " " + typeName(type));
        }
    }
}

void ObjectListingCommands::show(Words const& arguments) {
    std::string const key = expandShortKey(arguments[0]);
    Objects const published = objects();
    auto const found = published.find(key);
    if (found == published.end()) {
        throw unexpected(arguments[0], "the key of an object");
    }
    printLine("key: " + typed(key));
    printLine("type: " + typeName(found->second));
    printValueAndDetails(key, found->second);
}

void ObjectListingCommands::showTableRows(Words const& arguments) {
    constexpr int ROWS_AT_ONCE = 2;
    auto const reader = std::make_shared<RowReader>();
    auto& access = *openIterators_.emplace_back(std::make_unique<orvane::system::support::IteratorAccess>(
        expandShortKey(arguments[0]), reader, objbus::IteratorType{}, std::vector<objbus::TableSelection>(),
        std::vector<int>(), std::vector<objbus::TableOrder>()));
    if (access.create() != 0 || access.getIterator() == nullptr) {
        openIterators_.pop_back();
        throwIfTelevisionUnreachable();
        throw unexpected(arguments[0], "the key of a table that can be reached");
    }
    objbus::TableIterator* const iterator = access.getIterator();
    iterator->requestTotalCount();
    waitUntilNotificationsDelivered();
    printLine(typed(arguments[0]) + ": " + std::to_string(reader->total) + " rows");
    for (int row = 0; row < reader->total; row += ROWS_AT_ONCE) {
        reader->rows.clear();
        iterator->seekToRow(row);
        iterator->readRowChunk(ROWS_AT_ONCE);
        waitUntilNotificationsDelivered();
        for (auto const& columns : reader->rows) {
            printLine("  " + typed(columns));
        }
    }
    access.destroy();
    openIterators_.pop_back();
}

void setLogRedirectedToConsole(bool isRedirected) {
    auto const print = [](int severity, std::string const& line) {
        using television::LogLevel;
        printLine(line, severity <= static_cast<int>(LogLevel::critical) ? LineKind::critical
                        : severity <= static_cast<int>(LogLevel::error)  ? LineKind::error
                        : severity <= static_cast<int>(LogLevel::info)   ? LineKind::info
                                                                         : LineKind::debug);
    };
    television::setLogSink(isRedirected ? print : television::LogSink());
}

}  // namespace nrx_console
