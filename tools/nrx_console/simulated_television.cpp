#include "tools/nrx_console/simulated_television.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "television/log.h"
#include "tools/nrx_console/output.h"

namespace nrx_console {

namespace {

/// Prints each element as one word.
template <typename Element, typename WordsOf>
void printEach(std::string line, std::vector<Element> const& elements, WordsOf const& wordsOf) {
    for (Element const& element : elements) {
        line += ' ' + typed(typed(wordsOf(element)));
    }
    printLine(line);
}

/// Shortens the output and never waits for a reader, because clients may invoke actions faster than a reader reads
/// the output.
void printInvocation(std::string const& key, std::vector<objbus::Argument> const& arguments) {
    constexpr std::size_t MOST_PRINTED = 20;
    constexpr std::size_t MOST_PRINTED_BYTES = 500;  // An escape may print four bytes for each of these bytes.
    printLineUnlessBlocking("television: " + typed(television::shortened(key, MOST_PRINTED_BYTES)) + " invoked with");
    for (std::size_t at = 0; at < std::min(arguments.size(), MOST_PRINTED); ++at) {
        printLineUnlessBlocking("  " + std::to_string(arguments[at].index) + ": " +
                                typed(television::shortened(arguments[at].value, MOST_PRINTED_BYTES)));
    }
    if (arguments.size() > MOST_PRINTED) {
        printLineUnlessBlocking("  and " + std::to_string(arguments.size() - MOST_PRINTED) + " more");
    }
}

void printRequest(simulator::IteratorRequest const& request) {
    printLine("newest iterator: type " + std::to_string(static_cast<int>(request.type)));
    printEach("  selections:", request.selections, [](objbus::TableSelection const& selection) {
        return Words{std::to_string(selection.first), std::to_string(selection.second), selection.value};
    });
    printEach("  columns:", request.columns, [](int column) { return Words{std::to_string(column)}; });
    printEach("  orders:", request.orders, [](objbus::TableOrder const& order) {
        return Words{std::to_string(order.first), std::to_string(order.second)};
    });
}

}  // namespace

SimulatedTelevision::SimulatedTelevision(std::vector<ModelObject> const& model, bool printsInvocations,
                                         ContentValidator check)
    : printsInvocations_(printsInvocations), validateCommandContent_(std::move(check)) {
    for (ModelObject const& object : model) {
        publishUnvalidated(object);
    }
}

Commands SimulatedTelevision::commands() {
    Commands all = ObjectListingCommands::commands();
    Commands const own{
        {"tv publish", "KEY " + typeNames() + " VALUE...", "publish an object; it replaces the key's earlier one",
         [this](auto const& arguments) {
             Content const content = contentFromCommandWords(arguments[1], {arguments.begin() + 2, arguments.end()});
             validateCommandContent_(content);
             publishUnvalidated({expandShortKey(arguments[0]), content});
         }},
        {"tv set", "KEY VALUE...", "change a value or the rows of a table",
         [this](auto const& arguments) { setValueOrRows(arguments); }},
        {"tv withdraw", "KEY", "withdraw an object",
         [this](auto const& arguments) {
             if (!television_.withdraw(expandShortKey(arguments[0]))) {
                 throw unexpected(arguments[0], "the key of an object");
             }
         }},
        {"tv answer result", "VALUE...", "answer later invocations with results",
         [this](auto const& arguments) {
             validateCommandContent_(television::Value(arguments));
             configuredInvokeOutcome_ = argumentsByPosition(arguments);
         }},
        {"tv answer error", "NUMBER", "answer later invocations with an execution error",
         [this](auto const& arguments) { configuredInvokeOutcome_ = numberOf(arguments[0]); }},
        {"tv answer none", "", "do not answer later invocations",
         [this](auto const&) { configuredInvokeOutcome_ = std::monostate(); }},
        {"tv log", "off|critical|error|info|debug", "choose the level of the log",
         [](auto const& arguments) {
             television::LogLevel level{};
             television::parseLogLevel(arguments[0], level);
             television::setLogLevel(level);
         }},
    };
    for (Commands const& commands : {own, faultCommands()}) {
        all.insert(all.end(), commands.begin(), commands.end());
    }
    return all;
}

void SimulatedTelevision::printValueAndDetails(std::string const& key, objbus::ObjectTypeSpec /*type*/) {
    auto const counts = television_.counts(key);
    if (auto const value = television_.get(key)) {
        printLine("value: " + typed(wordsOfValue(*value)));
    }
    printLine("connects: " + std::to_string(counts.connectAttempts) + " tried, " +
              std::to_string(television_.registrations(key)) + " standing");
    printLine("reads: " + std::to_string(counts.reads) + ", writes: " + std::to_string(counts.writes));
    if (auto const request = television_.iteratorRequest(key)) {
        printRequest(*request);
    }
}

void SimulatedTelevision::setValueOrRows(Words const& arguments) {
    std::string const key = expandShortKey(arguments[0]);
    auto const type = television_.type(key);
    if (!type || (type != objbus::OBJECT_TYPE_TABLE && !television_.get(key))) {
        throw unexpected(arguments[0], "the key of a value or a table");
    }
    Content const changed = contentFromCommandWords(typeName(*type), {arguments.begin() + 1, arguments.end()});
    validateCommandContent_(changed);
    if (auto const* const rows = std::get_if<television::Rows>(&changed)) {
        television_.setRows(key, *rows);
    } else {
        television_.set(key, std::get<television::Value>(changed));
    }
}

void SimulatedTelevision::publishUnvalidated(ModelObject const& object) {
    auto const& [key, content] = object;
    if (auto const* const value = std::get_if<television::Value>(&content)) {
        television_.publish(key, *value);
    } else if (auto const* const rows = std::get_if<television::Rows>(&content)) {
        television_.publishTable(key, *rows);
    } else if (auto const* const bare = std::get_if<TypeOnlyContent>(&content)) {
        television_.publishBare(key, bare->type);
    } else {
        television_.publishAction(key, [this, name = key](auto const& arguments) { return answer(name, arguments); });
    }
}

simulator::ActionAnswer SimulatedTelevision::answer(std::string const& key,
                                                    std::vector<objbus::Argument> const& arguments) {
    if (printsInvocations_) {
        printInvocation(key, arguments);
    }
    return {0, ++lastInvocationId_, configuredInvokeOutcome_};
}

std::unique_ptr<TelevisionCommands> makeTelevisionCommands(std::vector<ModelObject> const& model) {
    return std::make_unique<SimulatedTelevision>(model);
}

int pingBusTelevision() { return 0; }

bool televisionIsSimulated() { return true; }

std::string televisionDescription() { return "a simulated television"; }

}  // namespace nrx_console
