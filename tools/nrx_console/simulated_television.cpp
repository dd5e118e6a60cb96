#include "tools/nrx_console/simulated_television.h"

#include <memory>
#include <utility>

#include "television/log.h"
#include "television/table_iterator.h"
#include "tools/nrx_console/output.h"

namespace nrx_console {

namespace {

/// Keeps the rows that were read last. Looked at only when everything was delivered.
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

SimulatedTelevision::SimulatedTelevision(std::vector<ModelObject> const& model) {
    for (ModelObject const& object : model) {
        publish(object);
    }
}

Commands SimulatedTelevision::commands() {
    Commands all{
        {"list", "[PREFIX]", "list the television's objects", [this](auto const& arguments) { list(arguments); }},
        {"show", "KEY", "what an object is, and who is connected", [this](auto const& arguments) { show(arguments); }},
        {"table", "KEY", "print the rows of a table", [this](auto const& arguments) { table(arguments); }},
        {"wait", "", "wait until all notifications were delivered",
         [this](auto const&) { television_.waitUntilDelivered(); }},
        {"tv publish", "KEY " + typeNames() + " VALUE...", "publish an object, in place of the key's earlier one",
         [this](auto const& arguments) {
             publish({keyOf(arguments[0]), contentFromWords(arguments[1], {arguments.begin() + 2, arguments.end()})});
         }},
        {"tv set", "KEY VALUE...", "change a value or the rows of a table",
         [this](auto const& arguments) { set(arguments); }},
        {"tv withdraw", "KEY", "take an object away",
         [this](auto const& arguments) {
             if (!television_.withdraw(keyOf(arguments[0]))) {
                 throw unexpected(arguments[0], "the key of an object");
             }
         }},
        {"tv answer result", "VALUE...", "answer actions with results",
         [this](auto const& arguments) { outcome_ = argumentsOf(arguments); }},
        {"tv answer error", "NUMBER", "answer actions with an execution error",
         [this](auto const& arguments) { outcome_ = numberOf(arguments[0]); }},
        {"tv answer none", "", "do not answer actions", [this](auto const&) { outcome_ = std::monostate(); }},
        {"tv log", "off|critical|error|info|debug", "choose what the log shows",
         [](auto const& arguments) {
             television::LogLevel level{};
             if (!television::parseLogLevel(arguments[0], level)) {
                 throw unexpected(arguments[0], "off, critical, error, info or debug");
             }
             television::setLogLevel(level);
         }},
    };
    for (Command& command : faultCommands()) {
        all.push_back(std::move(command));
    }
    return all;
}

Words SimulatedTelevision::keys() const {
    Words keys;
    for (auto const& [key, type] : television_.objects()) {
        keys.push_back(key);
    }
    return keys;
}

void SimulatedTelevision::list(Words const& arguments) {
    for (auto const& [key, type] : television_.objects()) {
        if (arguments.empty() || key.starts_with(keyOf(arguments[0]))) {
            printLine(typed(key) + " " + typeName(type));
        }
    }
}

void SimulatedTelevision::show(Words const& arguments) {
    std::string const key = keyOf(arguments[0]);
    auto const objects = television_.objects();
    auto const found = objects.find(key);
    if (found == objects.end()) {
        throw unexpected(arguments[0], "the key of an object");
    }
    auto const counts = television_.counts(key);
    printLine("key: " + typed(key));
    printLine("type: " + typeName(found->second));
    if (auto const value = television_.get(key)) {
        printLine("value: " + typed(wordsOfValue(*value)));
    }
    printLine("connects: " + std::to_string(counts.connectAttempts) + " tried, " +
              std::to_string(television_.registrations(key)) + " standing");
    printLine("reads: " + std::to_string(counts.reads) + ", writes: " + std::to_string(counts.writes));
}

void SimulatedTelevision::table(Words const& arguments) {
    constexpr int ROWS_AT_ONCE = 2;
    auto const reader = std::make_shared<RowReader>();
    auto& access = *iterators_.emplace_back(std::make_unique<orvane::system::support::IteratorAccess>(
        keyOf(arguments[0]), reader, objbus::IteratorType{}, std::vector<objbus::TableSelection>(), std::vector<int>(),
        std::vector<objbus::TableOrder>()));
    if (access.create() != 0 || access.getIterator() == nullptr) {
        iterators_.pop_back();
        throw unexpected(arguments[0], "the key of a table that can be reached");
    }
    objbus::TableIterator* const iterator = access.getIterator();
    iterator->requestTotalCount();
    television_.waitUntilDelivered();
    printLine(typed(arguments[0]) + ": " + std::to_string(reader->total) + " rows");
    for (int row = 0; row < reader->total; row += ROWS_AT_ONCE) {
        iterator->seekToRow(row);
        iterator->readRowChunk(ROWS_AT_ONCE);
        television_.waitUntilDelivered();
        for (auto const& columns : reader->rows) {
            printLine("  " + typed(columns));
        }
    }
    access.destroy();
    iterators_.pop_back();
}

void SimulatedTelevision::set(Words const& arguments) {
    std::string const key = keyOf(arguments[0]);
    auto const objects = television_.objects();
    auto const found = objects.find(key);
    bool const isTable = found != objects.end() && found->second == objbus::OBJECT_TYPE_TABLE;
    auto const value = television_.get(key);
    if (!value && !isTable) {
        throw unexpected(arguments[0], "the key of a value or a table");
    }
    Content const changed = contentFromWords(typeName(found->second), {arguments.begin() + 1, arguments.end()});
    if (auto const* const rows = std::get_if<television::Rows>(&changed)) {
        television_.setRows(key, *rows);
    } else {
        television_.set(key, std::get<television::Value>(changed));
    }
}

void SimulatedTelevision::publish(ModelObject const& object) {
    auto const& [key, content] = object;
    if (auto const* const value = std::get_if<television::Value>(&content)) {
        television_.publish(key, *value);
    } else if (auto const* const rows = std::get_if<television::Rows>(&content)) {
        television_.publishTable(key, *rows);
    } else if (auto const* const bare = std::get_if<Bare>(&content)) {
        television_.publishBare(key, bare->type);
    } else {
        television_.publishAction(key, [this, name = key](auto const& arguments) { return answer(name, arguments); });
    }
}

simulator::ActionAnswer SimulatedTelevision::answer(std::string const& key,
                                                    std::vector<objbus::Argument> const& arguments) {
    printLine("television: " + typed(key) + " invoked with");
    for (objbus::Argument const& argument : arguments) {
        printLine("  " + std::to_string(argument.index) + ": " + typed(argument.value));
    }
    return {0, ++lastActionId_, outcome_};
}

std::unique_ptr<TelevisionCommands> makeTelevision(std::vector<ModelObject> const& model) {
    return std::make_unique<SimulatedTelevision>(model);
}

void printLog(bool here) {
    auto const print = [](int severity, std::string const& line) {
        using television::LogLevel;
        printLine(line, severity <= static_cast<int>(LogLevel::critical) ? Kind::critical
                        : severity <= static_cast<int>(LogLevel::error)  ? Kind::error
                        : severity <= static_cast<int>(LogLevel::info)   ? Kind::information
                                                                         : Kind::detail);
    };
    television::setLogSink(here ? print : television::LogSink());
}

bool televisionIsSimulated() { return true; }

}  // namespace nrx_console
