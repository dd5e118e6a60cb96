#include "tools/nrx_console/model_commands.h"

#include <boost/shared_ptr.hpp>
#include <exception>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "frame/process.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "television/root_reference.h"
#include "tools/nrx_console/model_file.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/television_commands.h"

namespace nrx_console {

namespace {

using namespace orvane::system::support;

constexpr int BUDGET_MS = 1000;

/// Throws `CommandError` if the framework does not have the root interface.
void expectRootInterface() {
    boost::shared_ptr<frame::Interface> root;
    throwIfTelevisionFailed(frame::Process::getInstance().getInterfaceReference(root, television::ROOT_INTERFACE_NAME));
    if (!root || root->getObject() == nullptr) {
        throw CommandError("found no root interface, expected a television that answers");
    }
}

/// Returns the error for a failed connect. Throws another `CommandError` if the television does not answer.
CommandError notReached(std::string const& word, std::string const& what) {
    throwIfTelevisionUnreachable();
    return unexpected(word, "the key of " + what + " that can be reached");
}

void expectAccepted(std::string const& word, int status) {
    if (status != STATUS_OK) {
        throwIfTelevisionUnreachable();
        throw CommandError("found " + typed(word) + " refusing with status " + std::to_string(status) + ", expected 0");
    }
}

/// Disconnects an access before its destruction. Does not throw.
void release(ValueAccessBase& access) {
    try {
        access.disconnect();
    } catch (std::exception const& error) {
        printLine("not disconnected: " + typed(access.getName()) + ": " + error.what(), LineKind::error);
    }
}

/// Connects to an object of any type in the constructor, and disconnects in the destructor. A `TableAccess` accepts
/// every type.
class AnyObject {
public:
    explicit AnyObject(std::string const& word) : word_(word), access_(expandShortKey(word)) {
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
        if (!callForPlainKindNamed(typeName(type), use)) {
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

class WatchPrinter final : public ValueHandler {
public:
    explicit WatchPrinter(std::string key) : key_(std::move(key)) {}
    void handleNewValue(IValueObject const& value) override {
        printLine("watched: " + typed(key_) + " " + shown(value));
    }

private:
    std::string const key_;
};

void write(Words const& arguments) {
    AnyObject object(arguments[0]);
    object.useValueType([&]<typename T>() {
        Content const content =
            contentFromCommandWords(television::PlainKindTraits<T>::NAME, {arguments.begin() + 1, arguments.end()});
        auto const& value = std::get<T>(std::get<television::Value>(content));
        expectAccepted(arguments[0], object.access().setValue(value));
    });
}

}  // namespace

/// An action that was invoked. The action stays connected and prints the answers to its invocations. If an answer
/// arrives before the access object's `invoke` has returned the number of the invocation, the answer is printed after
/// the return.
class InvokedAction final : public ActionHandler {
public:
    explicit InvokedAction(std::string const& word)
        : word_(word), access_(expandShortKey(word), std::shared_ptr<ActionHandler>(std::shared_ptr<void>(), this)) {
        if (access_.connect(BUDGET_MS) != STATUS_OK) {
            throw notReached(word, "an action");
        }
    }
    InvokedAction(InvokedAction const&) = delete;
    InvokedAction& operator=(InvokedAction const&) = delete;
    ~InvokedAction() override { release(access_); }

    void invoke(std::vector<objbus::Argument> const& arguments) {
        unsigned int actionId = 0;
        setInvoking();
        try {
            int const status = access_.invoke(actionId, arguments);
            endInvocation(status == STATUS_OK ? std::optional(actionId) : std::nullopt);
            expectAccepted(word_, status);
        } catch (...) {
            endInvocation({});
            throw;
        }
    }

    void handleResult(unsigned int actionId, ValueObject const& results) override {
        handleAnswer(actionId, " result " + shown(results));
    }
    void handleExecutionError(unsigned int actionId, int error) override {
        handleAnswer(actionId, " error " + std::to_string(error));
    }

private:
    void setInvoking() {
        std::lock_guard const lock(mutex_);
        isInvoking_ = true;
    }

    /// `actionId` is the number of the invocation, or empty for a refused invocation.
    void endInvocation(std::optional<unsigned int> actionId) {
        std::lock_guard const lock(mutex_);
        isInvoking_ = false;
        if (actionId) {
            invoked_.insert(*actionId);
            printLine("invoked: " + typed(word_) + " " + std::to_string(*actionId));
        }
        for (auto const& [id, answer] : std::exchange(early_, {})) {
            print(id, answer);
        }
    }

    void handleAnswer(unsigned int actionId, std::string const& answer) {
        std::lock_guard const lock(mutex_);
        if (isInvoking_ && !invoked_.contains(actionId)) {
            early_.emplace_back(actionId, answer);
        } else {
            print(actionId, answer);
        }
    }

    /// Prints an answer. Marks an answer to another client's invocation, because every client of an action receives all
    /// answers.
    void print(unsigned int actionId, std::string const& answer) const {
        printLine((invoked_.contains(actionId) ? "answered: " : "answered elsewhere: ") + typed(word_) + " " +
                  std::to_string(actionId) + answer);
    }

    std::string const word_;
    std::mutex mutex_;
    bool isInvoking_ = false;
    std::set<unsigned int> invoked_;
    std::vector<std::pair<unsigned int, std::string>> early_;
    ActionAccess access_;
};

void throwIfTelevisionFailed(int status) {
    if (status != 0) {
        throw CommandError("found status " + std::to_string(status) + ", expected a television that answers");
    }
}

void throwIfTelevisionUnreachable() {
    expectRootInterface();
    throwIfTelevisionFailed(pingBusTelevision());
}

bool hasValue(objbus::ObjectTypeSpec type) {
    return callForPlainKindNamed(typeName(type), []<typename T>() {});
}

std::string readValueAsText(std::string const& word) {
    AnyObject object(word);
    std::string text;
    object.useValueType([&]<typename T>() {
        T value{};
        expectAccepted(word, object.access().getValue(value));
        text = typed(wordsOfValue(value));
    });
    return text;
}

ClientObjectCommands::ClientObjectCommands() = default;

ClientObjectCommands::~ClientObjectCommands() = default;

Commands ClientObjectCommands::commands() {
    return {
        {"read", "KEY", "read a value",
         [](auto const& arguments) { printLine(typed(arguments[0]) + ": " + readValueAsText(arguments[0])); }},
        {"write", "KEY VALUE...", "write a value", write},
        {"watch", "KEY", "print each new value", [this](auto const& arguments) { watch(arguments); }},
        {"unwatch", "KEY", "no longer print new values", [this](auto const& arguments) { unwatch(arguments); }},
        {"invoke", "KEY VALUE...", "invoke an action; the answer is printed when it arrives",
         [this](auto const& arguments) { invoke(arguments); }},
    };
}

void ClientObjectCommands::watch(Words const& arguments) {
    std::string const key = expandShortKey(arguments[0]);
    std::unique_ptr<ValueAccessBase> access;
    AnyObject object(arguments[0]);
    object.useValueType([&]<typename T>() {
        using Access = ValueAccessT<typename television::PlainKindTraits<T>::Observer>;
        access = std::make_unique<Access>(key, std::make_shared<WatchPrinter>(key));
    });
    if (watched_.contains(key)) {
        unwatch(arguments);
    }
    if (access->connect(BUDGET_MS) != STATUS_OK) {
        throw notReached(arguments[0], "a value");
    }
    watched_[key] = std::move(access);
}

void ClientObjectCommands::unwatch(Words const& arguments) {
    auto const watched = watched_.find(expandShortKey(arguments[0]));
    if (watched == watched_.end()) {
        throw unexpected(arguments[0], "the key of a value that is watched");
    }
    expectRootInterface();  // Without the root interface, the disconnect would fail and notifications continue.
    watched->second->disconnect();
    watched_.erase(watched);
}

void ClientObjectCommands::invoke(Words const& arguments) {
    auto action = actions_.find(expandShortKey(arguments[0]));
    if (action == actions_.end()) {
        action = actions_.emplace(expandShortKey(arguments[0]), std::make_unique<InvokedAction>(arguments[0])).first;
    }
    action->second->invoke(argumentsByPosition({arguments.begin() + 1, arguments.end()}));
}

}  // namespace nrx_console
