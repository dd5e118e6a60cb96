#pragma once

#include "fuzz/reference_television.h"

/// A simple reference model of the access objects and of the facade. Each class has the operations of the modelled
/// class, with the same names and results.
namespace fuzz {

/// An access object of any kind, including the iterator of an `IteratorAccess`.
class ReferenceAccess : public ReferenceObserver, public std::enable_shared_from_this<ReferenceAccess> {
public:
    ReferenceAccess(ReferenceTelevision& television, ReferenceObserver const& observer)
        : ReferenceObserver(observer), television_(television), keyState_(television.keys[key]) {}

    void connect(int budgetMs) {
        failIf(kind < ACTION && key == "missing", STATUS_ERR_MISSING_VALUE);
        connectTimeoutMs_ = budgetMs;
        if (kind == ITERATOR || object != nullptr) {
            return;
        }
        failIf(!television_.isReachable, STATUS_ERR_CONNECT_FAILED);
        failIfThrowing(Call::connect);
        auto& [status, handsOutObject, faults] = keyState_.connectFault;
        int attempts = std::max(1, (budgetMs + 99) / 100);
        bool fails = false;
        bool isFound = false;
        do {
            fails = faults != 0;
            faults -= faults > 0 ? 1 : 0;
            isFound = keyState_.object != nullptr && (!fails || (status == STATUS_OK && handsOutObject));
            television_.waitsAfterFailedAttempts += !isFound && budgetMs > 0 ? 1 : 0;
        } while (!isFound && --attempts > 0);
        failIf(!isFound, STATUS_ERR_CONNECT_FAILED);
        if (!fails) {  // A connect with a fault registers no observer, even if the connect returns `STATUS_OK`.
            television_.registrations.emplace_back(shared_from_this(), keyState_.object);
            keyState_.notifiesDuringConnect ? television_.set(keyState_.object, Value(keyState_.object->value)) : false;
        }
        if (kind != TABLE && (throwsFromCall(Call::type) || keyState_.object->type != OBJECT_TYPE_BY_KIND[kind])) {
            failIfThrowing(Call::disconnect);
            removeRegistrations(keyState_.object);
            failIfThrowing(Call::type);
            throw ExpectedFailure{STATUS_ERR_VALUE_TYPE_MISMATCH};
        }
        object = keyState_.object;
    }

    void disconnect() {
        if (kind != ITERATOR && television_.isReachable) {
            failIfThrowing(Call::disconnect);
            removeRegistrations(object);
        }
        object = nullptr;
    }

    [[nodiscard]] int getType() const {
        object != nullptr ? failIfThrowing(Call::type) : void();
        return object != nullptr ? object->type : OBJECT_TYPE_NONE;
    }

    template <typename T>
    void getValue(T& out) {
        connectForReadOrWrite();
        failIf(object->type != OBJECT_TYPE_BY_KIND[Value(T()).index()], STATUS_ERR_VALUE_TYPE_MISMATCH);
        failIfThrowing(Call::read);
        if constexpr (std::is_arithmetic_v<T>) {  // Reads of numbers have no status.
            out = std::get<T>(object->value);
        } else {
            failIf(!object->isPublished, STATUS_WITHDRAWN);
            auto const& [fault, isHalfWay] = keyState_.readFault;
            if (isHalfWay || fault == STATUS_OK) {
                out = std::get<T>(object->value);
                out.resize(isHalfWay ? out.size() / 2 : out.size());
            }
            failIf(fault != STATUS_OK, fault);
        }
    }

    void setValue(int number) { setValue(static_cast<long long>(number)); }
    void setValue(long long number) {
        connectForReadOrWrite();
        bool const isSmall = object->type == OBJECT_TYPE_BY_KIND[INTEGER] && number == static_cast<int>(number);
        isSmall ? write(static_cast<int>(number)) : write(number);
    }
    void setValue(Value const& value) {
        connectForReadOrWrite();
        write(value);
    }

    int invoke(unsigned int& id, Arguments const& arguments) {
        failIf(object == nullptr, -1);
        failIfThrowing(Call::invoke);
        int const refusal = object->isPublished ? keyState_.invokeFault : STATUS_WITHDRAWN;
        if (refusal != STATUS_OK || !object->script) {
            return refusal;
        }
        ActionAnswer const answer = object->script(arguments);
        id = answer.actionId.value_or(id);
        if (auto const* const error = std::get_if<ActionAnswer::Error>(&answer.outcome)) {
            television_.notify(*object, lineOf("error", id, *error));
        } else if (auto const* const results = std::get_if<ActionAnswer::Results>(&answer.outcome)) {
            Strings texts(results->size());
            for (Argument const& result : *results) {
                if (auto const index = static_cast<std::size_t>(result.index); index < texts.size()) {
                    texts[index] = result.value;
                }
            }
            television_.notify(*object, lineOf(id, VALUE_TYPE_BY_KIND[ACTION], texts));
        }
        return answer.status;
    }

    void create() {
        auto const table = std::make_shared<ReferenceAccess>(television_, ReferenceObserver{TABLE, key, receive});
        try {
            table->connect(1000);
            failIfThrowing(Call::type);
            failIf(!table->object->isTable(), CREATE_STATUS_NO_TABLE);
            destroy();
            failIfThrowing(Call::createIterator);
        } catch (ExpectedFailure const& failure) {
            table->disconnectForDestruction();
            throw ExpectedFailure{failure.status == STATUS_THROWS ? STATUS_THROWS : CREATE_STATUS_NO_TABLE};
        }
        if (!keyState_.refusesIterators) {
            iteratedTable = table->object;
            television_.iteratorObservers.insert(this);
            receive(lineOf("ready", 0));
        }
        auto const former = std::exchange(tableOfIterator_, table);
        former ? former->disconnect() : void();
    }

    void destroy() {
        iteratedTable != nullptr ? failIfThrowing(Call::destroyIterator) : void();
        television_.iteratorObservers.erase(this);
        iteratedTable = nullptr;
    }

    // The operations of the iterator.
    void requestTotalCount() const {
        notifyReceiverIfTablePublished(lineOf("count", static_cast<int>(iteratedTable->rows.size())));
    }
    void readRow() const {
        notifyReceiverIfTablePublished(iteratedTable->rows.empty() ? Strings() : iteratedTable->rows[0]);
    }
    void readRowChunk(int /*all*/) const {
        notifyReceiverIfTablePublished(iteratedTable->rows.empty() ? Strings{"none"} : iteratedTable->rows.back());
    }
    void commit() const { notifyReceiverIfTablePublished(lineOf("commit", 0)); }

    /// Does what the destructor of an access object does. If a disconnect throws, the registration remains.
    void disconnectForDestruction() {
        statusOf([this] { object != nullptr ? disconnect() : void(); });
        statusOf([this] { tableOfIterator_ ? tableOfIterator_->disconnect() : void(); });
    }
    [[nodiscard]] bool throwsFromCall(Call call) const { return keyState_.throwingCall == call; }
    /// Whether the access object has a registration with an object other than `ignoredObject`.
    [[nodiscard]] bool hasRegistration(ReferenceObject const* ignoredObject = nullptr) const {
        auto const& all = television_.registrations;
        return std::any_of(all.begin(), all.end(), [this, ignoredObject](auto& registration) {
            return registration.first.get() == this && registration.second != ignoredObject;
        });
    }

    ReferenceObject* object = nullptr;  ///< The connected object, or null.

private:
    void failIfThrowing(Call call) const { failIf(throwsFromCall(call), STATUS_THROWS); }
    /// The first step of every read and write.
    void connectForReadOrWrite() {
        object == nullptr ? connect(connectTimeoutMs_) : void();
        failIf(kind == ITERATOR, STATUS_ERR_VALUE_TYPE_MISMATCH);
        failIfThrowing(Call::type);
    }
    void write(Value const& value) {
        failIf(object->type != OBJECT_TYPE_BY_KIND[value.index()], STATUS_ERR_VALUE_TYPE_MISMATCH);
        failIfThrowing(Call::write);
        television_.set(object, value);
    }
    /// Ends the registrations with the object `source`, or with all objects if `source` is null.
    void removeRegistrations(ReferenceObject const* source) {
        std::erase_if(television_.registrations, [this, source](auto& registration) {
            return registration.first.get() == this && (source == nullptr || registration.second == source);
        });
    }
    void notifyReceiverIfTablePublished(Strings const& line) const {
        iteratedTable->isPublished ? receive(line) : void();
    }

    ReferenceTelevision& television_;
    ReferenceKey& keyState_;
    int connectTimeoutMs_ = 1000;
    std::shared_ptr<ReferenceAccess> tableOfIterator_;  ///< The connected table of an iterator, or null.
};

/// The facade. Its operations return no status, so only the failure `STATUS_THROWS` is compared.
class ReferenceNRXModelAccess {
public:
    ReferenceNRXModelAccess(ReferenceTelevision& television, RecordingClient* newClient) : client_(newClient) {
        for (auto const& [name, kind] : KEYS) {
            auto const relay = [this, key = name](Strings line) {
                line[0] = key;  // The record of a client's notification begins with the key, not the type.
                isListenerStartedByKey_[key] && client_ != nullptr ? client_->expected.push_back(line) : void();
            };
            accesses_[name] = std::make_shared<ReferenceAccess>(television, ReferenceObserver{kind, name, relay});
        }
    }

    /// Connects both lists. Switches no listener on.
    void start() {
        failIf(statusOf([this] { accesses_[COMMAND]->connect(1000); }) == STATUS_THROWS, STATUS_THROWS);
        accesses_[EVENT]->connect(1000);
    }
    void startCommandListener() { isListenerStartedByKey_[COMMAND] = true; }
    void stopCommandListener() { isListenerStartedByKey_[COMMAND] = false; }
    void startEventListener() { isListenerStartedByKey_[EVENT] = true; }
    void stopEventListener() { isListenerStartedByKey_[EVENT] = false; }
    void setClient(RecordingClient* newClient) { client_ = newClient; }
    void setAccessValue(std::string const& key, Strings const& list) { findListAccess(key).setValue(list); }
    void getAccessValue(std::string const& key, Strings& list) { findListAccess(key).getValue(list); }
    std::string getSoftwareVersion() {
        std::string version;
        failIf(statusOf([&] { accesses_[SOFTWARE_VERSION]->getValue(version); }) == STATUS_THROWS, STATUS_THROWS);
        return version;
    }
    void requestStartNRXService() {
        auto& action = accesses_[SOURCE_SWITCH];
        if (action->object == nullptr) {  // A new action, because the facade destroys an action whose connect fails.
            action = std::make_shared<ReferenceAccess>(*action);
        }
        unsigned int id = UINT_MAX;
        action->connect(100);
        action->invoke(id, {{0, 0, 0, ARGUMENT_VALUE_WILDCARD}, {0, 1, 0, "12"}, {0, 2, 0, ARGUMENT_VALUE_WILDCARD}});
    }

    /// Does what the destructor of the facade does.
    void disconnectForDestruction() {
        std::for_each(accesses_.begin(), accesses_.end(), [](auto& part) { part.second->disconnectForDestruction(); });
    }

private:
    ReferenceAccess& findListAccess(std::string const& key) {
        failIf(accesses_[key]->kind != TEXTS, STATUS_ERR_UNKNOWN_KEY);
        return *accesses_[key];
    }

    std::map<std::string, std::shared_ptr<ReferenceAccess>> accesses_;  ///< By key. Some keys are never used.
    std::map<std::string, bool> isListenerStartedByKey_;
    RecordingClient* client_;
};

}  // namespace fuzz
