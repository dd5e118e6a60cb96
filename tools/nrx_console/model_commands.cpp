#include "tools/nrx_console/model_commands.h"

#include <exception>
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

void expectAccepted(std::string const& word, int status) {
    if (status != STATUS_OK) {
        throw CommandError("found " + typed(word) + " refusing with status " + std::to_string(status) + ", expected 0");
    }
}

/// Disconnects an access before its destruction. Does not throw.
void release(ValueAccessBase& access) {
    try {
        access.disconnect();
    } catch (std::exception const& error) {
        printLine("not disconnected: " + typed(access.getName()) + ": " + error.what(), Kind::error);
    }
}

/// Connects to an object of any type for its lifetime: a table's access accepts every type.
class AnyObject {
public:
    explicit AnyObject(std::string const& word) : word_(word), access_(keyOf(word)) {
        if (access_.connect(BUDGET_MS) != STATUS_OK) {
            throw notReached(word, "an object");
        }
    }
    AnyObject(AnyObject const&) = delete;
    AnyObject& operator=(AnyObject const&) = delete;
    ~AnyObject() { release(access_); }

    ValueAccessBase& access() { return access_; }

    /// Calls `use.operator()<T>()` for the type of the value. Throws `CommandError` for an object without a value.
    template <typename Use>
    void useValueType(Use const& use) {
        objbus::ObjectTypeSpec const type = access_.getType();
        if (!usePlainKind(typeName(type), use)) {
            throw CommandError("found " + typed(word_) + " of " + access_.accessTypeName(type) +
                               ", expected the key of a value");
        }
    }

private:
    std::string const word_;
    TableAccess access_;
};

std::string shown(IValueObject const& value) {
    std::vector<std::string> const texts = value;
    return typed(texts);
}

/// Prints the notifications of one object.
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

void write(Words const& arguments) {
    AnyObject object(arguments[0]);
    object.useValueType([&]<typename T>() {
        Content const content =
            contentFromWords(television::PlainKind<T>::NAME, {arguments.begin() + 1, arguments.end()});
        auto const& value = std::get<T>(std::get<television::Value>(content));
        expectAccepted(arguments[0], object.access().setValue(value));
    });
}

}  // namespace

bool hasValue(objbus::ObjectTypeSpec type) {
    return usePlainKind(typeName(type), []<typename T>() {});
}

std::string readValue(std::string const& word) {
    AnyObject object(word);
    std::string text;
    object.useValueType([&]<typename T>() {
        T value{};
        expectAccepted(word, object.access().getValue(value));
        text = typed(wordsOfValue(value));
    });
    return text;
}

ModelCommands::~ModelCommands() {
    for (auto const& [key, action] : actions_) {
        release(*action);
    }
}

Commands ModelCommands::commands() {
    return {
        {"read", "KEY", "read a value",
         [](auto const& arguments) { printLine(typed(arguments[0]) + ": " + readValue(arguments[0])); }},
        {"write", "KEY VALUE...", "write a value", write},
        {"watch", "KEY", "print each new value", [this](auto const& arguments) { watch(arguments); }},
        {"unwatch", "KEY", "no longer print new values", [this](auto const& arguments) { unwatch(arguments); }},
        {"invoke", "KEY VALUE...", "invoke an action; the answer is printed when it arrives",
         [this](auto const& arguments) { invoke(arguments); }},
    };
}

void ModelCommands::watch(Words const& arguments) {
    std::string const key = keyOf(arguments[0]);
    std::unique_ptr<ValueAccessBase> access;
    AnyObject object(arguments[0]);
    object.useValueType([&]<typename T>() {
        using Access = ValueAccessT<typename television::PlainKind<T>::Observer>;
        access = std::make_unique<Access>(key, std::make_shared<Reporter>(key));
    });
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
        throw unexpected(arguments[0], "a television that can be reached");  // Without one, it would still notify.
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
    expectAccepted(arguments[0], action->invoke(actionId, argumentsOf({arguments.begin() + 1, arguments.end()})));
    printLine("invoked: " + typed(arguments[0]) + " " + std::to_string(actionId));
}

}  // namespace nrx_console
