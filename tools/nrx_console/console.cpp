#include "tools/nrx_console/console.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "simulator/log.h"
#include "simulator/table_iterator.h"
#include "tools/nrx_console/output.h"

namespace nrx_console {

namespace {

constexpr char SOURCE_SWITCH_KEY[] = "torvi.sl2.action.source.switch";
constexpr std::size_t ANY_NUMBER = std::numeric_limits<std::size_t>::max();

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

}  // namespace

void PrintingClient::onNRXCommandReceived(std::vector<std::string> const& parameters) {
    printLine("client: command " + quoted(parameters));
}

void PrintingClient::onNRXEventReceived(std::vector<std::string> const& parameters) {
    printLine("client: event " + quoted(parameters));
}

struct Console::Command {
    char const* name;
    char const* arguments;
    std::size_t fewest;
    std::size_t most;
    char const* help;
    void (Console::*run)(Words const& arguments);

    [[nodiscard]] std::string usage() const { return name + (*arguments != '\0' ? std::string(" ") + arguments : ""); }
};

std::vector<Console::Command> const& Console::commands() {
    static std::vector<Command> const all{
        {"start", "", 0, 0, "connect to the command and the event list", &Console::start},
        {"info", "", 0, 0, "ask for the facts about the device", &Console::info},
        {"listen", "command|event on|off", 2, 2, "let lists through to the client, or not", &Console::listen},
        {"get", "KEY|command|event", 1, 1, "read a list by its key", &Console::get},
        {"set", "KEY|command|event VALUE...", 1, ANY_NUMBER, "write a list by its key", &Console::set},
        {"request-service", "", 0, 0, "ask the television to start the NRX service", &Console::requestService},
        {"table", "KEY", 1, 1, "print the rows of a table", &Console::table},
        {"tv set", "KEY VALUE...", 1, ANY_NUMBER, "change a value as the television does", &Console::tvSet},
        {"tv publish", "KEY TYPE VALUE...", 2, ANY_NUMBER, "publish an object, in place of the key's earlier one",
         &Console::tvPublish},
        {"tv withdraw", "KEY", 1, 1, "take an object away", &Console::tvWithdraw},
        {"tv on", "", 0, 0, "make the television reachable again", &Console::tvOn},
        {"tv off", "", 0, 0, "make the television unreachable", &Console::tvOff},
        {"tv log", "off|critical|error|info|debug", 1, 1, "choose what the log shows", &Console::tvLog},
        {"tv fail invoke", "STATUS", 1, 1, "refuse start requests with a status; 0 ends it", &Console::tvFailInvoke},
        {"tv answer result", "TEXT...", 0, ANY_NUMBER, "answer actions with results", &Console::tvAnswerResult},
        {"tv answer error", "NUMBER", 1, 1, "answer actions with an execution error", &Console::tvAnswerError},
        {"wait", "", 0, 0, "wait until all notifications were delivered", &Console::wait},
        {"help", "", 0, 0, "list the commands", &Console::help},
        {"quit", "", 0, 0, "end the program", &Console::quit},
    };
    return all;
}

Console::Console(std::vector<ModelObject> const& model) {
    for (ModelObject const& object : model) {
        publish(object);
    }
}

Console::~Console() {
    tvOn({});  // The facade cannot detach itself from a television that it does not find.
}

bool Console::execute(std::string const& line) {
    Words const words = wordsOf(line);
    if (words.empty() || words.front().starts_with('#')) {
        return true;
    }
    for (Command const& command : commands()) {
        Words const name = wordsOf(command.name);
        if (words.size() < name.size() || !std::equal(name.begin(), name.end(), words.begin())) {
            continue;
        }
        Words const arguments(words.begin() + static_cast<std::ptrdiff_t>(name.size()), words.end());
        if (arguments.size() < command.fewest || arguments.size() > command.most) {
            throw CommandError("found " + std::to_string(arguments.size()) +
                               (arguments.size() == 1 ? " argument" : " arguments") + ", expected: " + command.usage());
        }
        (this->*command.run)(arguments);
        return !quit_;
    }
    throw CommandError("found \"" + line + "\", expected a command that \"help\" lists");
}

void Console::start(Words const& /*arguments*/) { access_.start(); }

void Console::info(Words const& /*arguments*/) {
    printLine("software version: " + access_.getSoftwareVersion());
    printLine("model name: " + access_.getModelname());
    printLine("feature code: " + access_.getFeatureCode());
    printLine("device identifier: " + access_.getDeviceID());
}

void Console::listen(Words const& arguments) {
    bool const on = isSwitchedOn(arguments[1]);
    if (arguments[0] == "command") {
        on ? access_.startCommandListener() : access_.stopCommandListener();
    } else if (arguments[0] == "event") {
        on ? access_.startEventListener() : access_.stopEventListener();
    } else {
        throw CommandError("found \"" + arguments[0] + "\", expected command or event");
    }
}

void Console::get(Words const& arguments) {
    std::vector<std::string> values;
    access_.getAccessValue(keyOf(arguments[0]), values);
    printLine(arguments[0] + ": " + quoted(values));
}

void Console::set(Words const& arguments) {
    access_.setAccessValue(keyOf(arguments[0]), {arguments.begin() + 1, arguments.end()});
}

void Console::requestService(Words const& /*arguments*/) { access_.requestStartNRXService(); }

void Console::table(Words const& arguments) {
    constexpr int ROWS_AT_ONCE = 2;
    auto const reader = std::make_shared<RowReader>();
    orvane::system::support::IteratorAccess access(keyOf(arguments[0]), reader, {}, {}, {}, {});
    if (access.create() != 0) {
        throw CommandError("found \"" + arguments[0] + "\", expected the key of a table that can be reached");
    }
    objbus::TableIterator* const iterator = access.getIterator();
    iterator->requestTotalCount();
    television_.waitUntilDelivered();
    printLine(arguments[0] + ": " + std::to_string(reader->total) + " rows");
    for (int row = 0; row < reader->total; row += ROWS_AT_ONCE) {
        iterator->seekToRow(row);
        iterator->readRowChunk(ROWS_AT_ONCE);
        television_.waitUntilDelivered();
        for (auto const& columns : reader->rows) {
            printLine("  " + quoted(columns));
        }
    }
    access.destroy();
}

void Console::tvSet(Words const& arguments) {
    std::string const key = keyOf(arguments[0]);
    auto const value = television_.get(key);
    if (!value) {
        throw CommandError("found \"" + arguments[0] + "\", expected the key of a value");
    }
    Content const changed = contentFromWords(typeName(*value), {arguments.begin() + 1, arguments.end()});
    television_.set(key, std::get<simulator::Value>(changed));
}

void Console::tvPublish(Words const& arguments) {
    publish({keyOf(arguments[0]), contentFromWords(arguments[1], {arguments.begin() + 2, arguments.end()})});
}

void Console::tvWithdraw(Words const& arguments) {
    if (!television_.withdraw(keyOf(arguments[0]))) {
        throw CommandError("found \"" + arguments[0] + "\", expected the key of an object");
    }
}

void Console::tvOn(Words const& /*arguments*/) { television_.setRootLookup(simulator::RootLookup::published); }

void Console::tvOff(Words const& /*arguments*/) { television_.setRootLookup(simulator::RootLookup::refused); }

void Console::tvLog(Words const& arguments) {
    simulator::LogLevel level{};
    if (!simulator::parseLogLevel(arguments[0], level)) {
        throw CommandError("found \"" + arguments[0] + "\", expected off, critical, error, info or debug");
    }
    simulator::setLogLevel(level);
}

void Console::tvFailInvoke(Words const& arguments) {
    television_.failInvokes(SOURCE_SWITCH_KEY, numberOf(arguments[0]));
}

void Console::tvAnswerResult(Words const& arguments) { outcome_ = resultsOf(arguments); }

void Console::tvAnswerError(Words const& arguments) { outcome_ = numberOf(arguments[0]); }

void Console::wait(Words const& /*arguments*/) { television_.waitUntilDelivered(); }

void Console::help(Words const& /*arguments*/) {
    std::size_t widest = 0;
    for (Command const& command : commands()) {
        widest = std::max(widest, command.usage().size());
    }
    for (Command const& command : commands()) {
        std::string line = command.usage();
        line.resize(widest + 2, ' ');
        printLine(line + command.help);
    }
}

void Console::quit(Words const& /*arguments*/) { quit_ = true; }

void Console::publish(ModelObject const& object) {
    auto const& [key, content] = object;
    if (auto const* const value = std::get_if<simulator::Value>(&content)) {
        television_.publish(key, *value);
    } else if (auto const* const rows = std::get_if<simulator::Rows>(&content)) {
        television_.publishTable(key, *rows);
    } else {
        television_.publishAction(key, [this, name = key](auto const& arguments) { return answer(name, arguments); });
    }
}

simulator::ActionAnswer Console::answer(std::string const& key, std::vector<objbus::Argument> const& arguments) {
    printLine("television: " + key + " invoked with");
    for (objbus::Argument const& argument : arguments) {
        printLine("  " + std::to_string(argument.index) + ": " + argument.value);
    }
    return {0, ++lastActionId_, outcome_};
}

}  // namespace nrx_console
