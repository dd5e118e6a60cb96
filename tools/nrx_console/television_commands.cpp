#include "tools/nrx_console/television_commands.h"

#include <array>
#include <memory>
#include <utility>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "simulator/log.h"
#include "simulator/table_iterator.h"
#include "simulator/television.h"
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
    simulator::Rows rows;
};

/// The operations of the model that can be made to throw, by what the console calls them.
constexpr std::array<std::pair<char const*, simulator::Call>, 8> CALLS{{
    {"connect", simulator::Call::connect},
    {"disconnect", simulator::Call::disconnect},
    {"type", simulator::Call::type},
    {"read", simulator::Call::read},
    {"write", simulator::Call::write},
    {"invoke", simulator::Call::invoke},
    {"create-iterator", simulator::Call::createIterator},
    {"destroy-iterator", simulator::Call::destroyIterator},
}};

constexpr std::array<std::pair<char const*, simulator::RootLookup>, 4> ROOTS{{
    {"published", simulator::RootLookup::published},
    {"refused", simulator::RootLookup::refused},
    {"empty", simulator::RootLookup::emptyReference},
    {"null", simulator::RootLookup::nullObject},
}};

/// The words that name the choices, parted by bars.
template <typename Choices>
std::string namesOf(Choices const& choices) {
    std::string names;
    for (auto const& choice : choices) {
        names += (names.empty() ? "" : "|") + std::string(choice.first);
    }
    return names;
}

template <typename Choices>
auto choiceOf(Choices const& choices, std::string const& word) {
    for (auto const& [name, choice] : choices) {
        if (word == name) {
            return choice;
        }
    }
    throw unexpected(word, "one of " + namesOf(choices));
}

/// The simulated one.
class SimulatedTelevision final : public TelevisionCommands {
public:
    explicit SimulatedTelevision(std::vector<ModelObject> const& model);

    Commands commands() override;
    void restore() override;
    [[nodiscard]] Words keys() const override;

private:
    Commands faultCommands();
    void list(Words const& arguments);
    void show(Words const& arguments);
    void table(Words const& arguments);
    void set(Words const& arguments);
    void failConnects(Words const& arguments);
    void failReads(Words const& arguments);
    void throwFrom(Words const& arguments);
    void setRoot(Words const& arguments);
    void heal(Words const& arguments);

    void publish(ModelObject const& object);
    simulator::ActionAnswer answer(std::string const& key, std::vector<objbus::Argument> const& arguments);

    decltype(simulator::ActionAnswer::outcome) outcome_;  ///< Of the actions invoked from now on.
    unsigned int lastActionId_ = 0;
    simulator::Television television_;
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
        {"tv publish", "KEY TYPE VALUE...", "publish an object, in place of the key's earlier one",
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
        {"tv log", "off|critical|error|info|debug", "choose what the log shows",
         [](auto const& arguments) {
             simulator::LogLevel level{};
             if (!simulator::parseLogLevel(arguments[0], level)) {
                 throw unexpected(arguments[0], "off, critical, error, info or debug");
             }
             simulator::setLogLevel(level);
         }},
    };
    for (Command& command : faultCommands()) {
        all.push_back(std::move(command));
    }
    return all;
}

Commands SimulatedTelevision::faultCommands() {
    return {
        {"tv on", "", "make the television reachable again", [this](auto const&) { restore(); }},
        {"tv off", "", "make the television unreachable", [this](auto const&) { setRoot({"refused"}); }},
        {"tv root", namesOf(ROOTS), "what a lookup of the root interface gives",
         [this](auto const& arguments) { setRoot(arguments); }},
        {"tv fail connect", "KEY NUMBER [ATTEMPTS] [object]",
         "let connects fail with a status, for ever or so often, or hand out the object even so",
         [this](auto const& arguments) { failConnects(arguments); }},
        {"tv fail read", "KEY NUMBER [half]", "let reads return a status, and perhaps half of the value",
         [this](auto const& arguments) { failReads(arguments); }},
        {"tv fail invoke", "KEY NUMBER", "refuse invocations with a status",
         [this](auto const& arguments) { television_.failInvokes(keyOf(arguments[0]), numberOf(arguments[1])); }},
        {"tv fail iterator", "KEY", "make no iterators on a table",
         [this](auto const& arguments) { television_.refuseIterators(keyOf(arguments[0]), true); }},
        {"tv throw", "KEY " + namesOf(CALLS), "let one operation throw as without memory",
         [this](auto const& arguments) { throwFrom(arguments); }},
        {"tv early", "KEY", "notify a value before its connects return",
         [this](auto const& arguments) { television_.notifyEarly(keyOf(arguments[0]), true); }},
        {"tv heal", "KEY", "end the faults of an object", [this](auto const& arguments) { heal(arguments); }},
    };
}

void SimulatedTelevision::restore() { television_.setRootLookup(simulator::RootLookup::published); }

Words SimulatedTelevision::keys() const {
    Words keys;
    for (auto const& [key, type] : television_.objects()) {
        keys.push_back(key);
    }
    return keys;
}

void SimulatedTelevision::list(Words const& arguments) {
    for (auto const& [key, type] : television_.objects()) {
        if (arguments.empty() || key.starts_with(arguments[0])) {
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
    orvane::system::support::IteratorAccess access(keyOf(arguments[0]), reader, {}, {}, {}, {});
    if (access.create() != 0 || access.getIterator() == nullptr) {
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
    if (auto const* const rows = std::get_if<simulator::Rows>(&changed)) {
        television_.setRows(key, *rows);
    } else {
        television_.set(key, std::get<simulator::Value>(changed));
    }
}

void SimulatedTelevision::failConnects(Words const& arguments) {
    simulator::ConnectFault fault;
    fault.status = numberOf(arguments[1]);
    fault.handsOutObject = arguments.back() == "object";
    if (arguments.size() > (fault.handsOutObject ? 3U : 2U)) {
        fault.attempts = numberOf(arguments[2]);
    }
    if (arguments.size() == 4 && !fault.handsOutObject) {
        throw unexpected(arguments[3], "object");
    }
    television_.failConnects(keyOf(arguments[0]), fault);
}

void SimulatedTelevision::failReads(Words const& arguments) {
    bool const half = arguments.size() == 3;
    if (half && arguments[2] != "half") {
        throw unexpected(arguments[2], "half");
    }
    television_.failReads(keyOf(arguments[0]), {numberOf(arguments[1]), half});
}

void SimulatedTelevision::throwFrom(Words const& arguments) {
    television_.throwFrom(keyOf(arguments[0]), choiceOf(CALLS, arguments[1]));
}

void SimulatedTelevision::setRoot(Words const& arguments) { television_.setRootLookup(choiceOf(ROOTS, arguments[0])); }

void SimulatedTelevision::heal(Words const& arguments) {
    std::string const key = keyOf(arguments[0]);
    television_.failConnects(key, {0, false, 0});
    television_.failReads(key, {});
    television_.failInvokes(key, 0);
    television_.refuseIterators(key, false);
    television_.throwFrom(key, simulator::Call::none);
    television_.notifyEarly(key, false);
}

void SimulatedTelevision::publish(ModelObject const& object) {
    auto const& [key, content] = object;
    if (auto const* const value = std::get_if<simulator::Value>(&content)) {
        television_.publish(key, *value);
    } else if (auto const* const rows = std::get_if<simulator::Rows>(&content)) {
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
    simulator::setLogSink(here ? [](int /*severity*/, std::string const& line) { printLine(line, Kind::log); }
                               : simulator::LogSink());
}

}  // namespace nrx_console
