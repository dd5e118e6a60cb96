#include "tools/nrx_console/model_commands.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "tools/nrx_console/model_file.h"
#include "tools/nrx_console/output.h"

namespace nrx_console {

namespace {

using namespace orvane::system::support;

constexpr int BUDGET_MS = 1000;

CommandError notReached(std::string const& word, std::string const& what) {
    return unexpected(word, "the key of " + what + " that can be reached");
}

CommandError refused(std::string const& word, int status) {
    // NOLINTNEXTLINE(modernize-return-braced-init-list): the constructor is explicit.
    return CommandError("found " + typed(word) + " refusing with status " + std::to_string(status) + ", expected 0");
}

/// Disconnects an access that is about to go, whatever the model throws.
void release(ValueAccessBase& access) {
    try {
        access.disconnect();
    } catch (std::exception const& error) {
        printLine("not disconnected: " + typed(access.getName()) + ": " + error.what(), Kind::error);
    }
}

/// An object of whatever type, connected while this lives: a table's access takes every one.
class AnyObject {
public:
    explicit AnyObject(std::string const& word) : access_(keyOf(word)) {
        if (access_.connect(BUDGET_MS) != STATUS_OK) {
            throw notReached(word, "an object");
        }
    }
    AnyObject(AnyObject const&) = delete;
    AnyObject& operator=(AnyObject const&) = delete;
    ~AnyObject() { release(access_); }

    ValueAccessBase& access() { return access_; }

private:
    TableAccess access_;
};

std::string shown(IValueObject const& value) {
    std::vector<std::string> const texts = value;
    return typed(texts);
}

template <typename T>
std::string readAs(std::string const& word, ValueAccessBase& access) {
    T value{};
    if (int const status = access.getValue(value); status != STATUS_OK) {
        throw refused(word, status);
    }
    return typed(wordsOfValue(value));
}

/// Prints what it hears of one object.
class Reporter final : public ValueHandler, public ActionHandler {
public:
    explicit Reporter(std::string key) : key_(std::move(key)) {}
    void handleNewValue(IValueObject const& value) override {
        printLine("watched: " + typed(key_) + " " + shown(value));
    }
    void handleResult(unsigned int actionId, ValueObject const& results) override {
        printLine("answered: " + typed(key_) + " " + std::to_string(actionId) + " result " + shown(results));
    }
    void handleExecutionError(unsigned int actionId, int error) override {
        printLine("answered: " + typed(key_) + " " + std::to_string(actionId) + " error " + std::to_string(error));
    }

private:
    std::string const key_;
};

template <typename Obs>
std::unique_ptr<ValueAccessBase> watcher(std::string const& key) {
    return std::make_unique<ValueAccessT<Obs>>(key, std::make_shared<Reporter>(key));
}

/// What is done with a plain value, by its type.
struct ValueType {
    objbus::ObjectTypeSpec type;
    char const* name;  ///< As in a model file.
    std::string (*read)(std::string const& word, ValueAccessBase& access);
    std::unique_ptr<ValueAccessBase> (*watch)(std::string const& key);
};

ValueType const VALUE_TYPES[] = {
    {objbus::OBJECT_TYPE_NUMERIC_INTEGER, "integer", readAs<int>, watcher<objbus::ObserverNumericInteger>},
    {objbus::OBJECT_TYPE_NUMERIC_INT64, "int64", readAs<long long>, watcher<objbus::ObserverNumericInt64>},
    {objbus::OBJECT_TYPE_STRING, "string", readAs<std::string>, watcher<objbus::ObserverString>},
    {objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, "integer-list", readAs<std::vector<int>>,
     watcher<objbus::ObserverVectorNumericInteger>},
    {objbus::OBJECT_TYPE_VECTOR_STRING, "string-list", readAs<std::vector<std::string>>,
     watcher<objbus::ObserverVectorString>},
};

/// Null for a type whose objects have no value.
ValueType const* findValueType(objbus::ObjectTypeSpec type) {
    auto const* const found = std::find_if(std::begin(VALUE_TYPES), std::end(VALUE_TYPES),
                                           [type](ValueType const& candidate) { return candidate.type == type; });
    return found != std::end(VALUE_TYPES) ? found : nullptr;
}

ValueType const& valueTypeOf(std::string const& word, ValueAccessBase& access) {
    objbus::ObjectTypeSpec const type = access.getType();
    if (ValueType const* const known = findValueType(type)) {
        return *known;
    }
    throw CommandError("found " + typed(word) + " of " + access.accessTypeName(type) + ", expected the key of a value");
}

}  // namespace

bool hasValue(objbus::ObjectTypeSpec type) { return findValueType(type) != nullptr; }

std::string readValue(std::string const& word) {
    AnyObject object(word);
    return valueTypeOf(word, object.access()).read(word, object.access());
}

ModelCommands::~ModelCommands() {
    for (auto const& [key, action] : actions_) {
        release(*action);
    }
}

Commands ModelCommands::commands() {
    return {
        {"read", "KEY", "read a value", [this](auto const& arguments) { read(arguments); }},
        {"write", "KEY VALUE...", "write a value", [this](auto const& arguments) { write(arguments); }},
        {"watch", "KEY", "print each new value", [this](auto const& arguments) { watch(arguments); }},
        {"unwatch", "KEY", "no longer", [this](auto const& arguments) { unwatch(arguments); }},
        {"invoke", "KEY VALUE...", "invoke an action; its answer is printed when it comes",
         [this](auto const& arguments) { invoke(arguments); }},
    };
}

void ModelCommands::read(Words const& arguments) { printLine(typed(arguments[0]) + ": " + readValue(arguments[0])); }

void ModelCommands::write(Words const& arguments) {
    AnyObject object(arguments[0]);
    ValueType const& type = valueTypeOf(arguments[0], object.access());
    Content const content = contentFromWords(type.name, {arguments.begin() + 1, arguments.end()});
    auto const set = [&object](auto const& value) { return object.access().setValue(value); };
    if (int const status = std::visit(set, std::get<television::Value>(content)); status != STATUS_OK) {
        throw refused(arguments[0], status);
    }
}

void ModelCommands::watch(Words const& arguments) {
    std::string const key = keyOf(arguments[0]);
    AnyObject object(arguments[0]);
    auto access = valueTypeOf(arguments[0], object.access()).watch(key);
    if (watched_.contains(key)) {
        unwatch(arguments);
    }
    if (access->connect(BUDGET_MS) != STATUS_OK) {
        throw notReached(arguments[0], "a value");
    }
    watched_[key] = std::move(access);
}

void ModelCommands::unwatch(Words const& arguments) {
    auto const watched = watched_.find(keyOf(arguments[0]));
    if (watched == watched_.end()) {
        throw unexpected(arguments[0], "the key of a value that is watched");
    }
    ValueAccessBase& access = *watched->second;
    if (access.getRootInterface() == nullptr) {
        throw unexpected(arguments[0], "a television that can be reached");  // It would go on to call what is gone.
    }
    access.disconnect();
    watched_.erase(watched);
}

void ModelCommands::invoke(Words const& arguments) {
    std::string const key = keyOf(arguments[0]);
    auto& action = actions_[key];
    if (!action) {
        auto connecting = std::make_unique<ActionAccess>(key, std::make_shared<Reporter>(key));
        if (connecting->connect(BUDGET_MS) != STATUS_OK) {
            actions_.erase(key);
            throw notReached(arguments[0], "an action");
        }
        action = std::move(connecting);
    }
    unsigned int actionId = 0;
    int const status = action->invoke(actionId, argumentsOf({arguments.begin() + 1, arguments.end()}));
    if (status != STATUS_OK) {
        throw refused(arguments[0], status);
    }
    printLine("invoked: " + typed(arguments[0]) + " " + std::to_string(actionId));
}

}  // namespace nrx_console
