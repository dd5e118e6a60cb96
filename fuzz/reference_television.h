#pragma once

#include <deque>
#include <new>
#include <set>

#include "fuzz/access_recorder.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/status.h"
#include "simulator/television.h"

// The reference model's television: its objects, its faults, and the notifications of its observers.

namespace fuzz {

using namespace objbus;
using simulator::ActionAnswer, simulator::Call, simulator::Rows, simulator::Value;
using Arguments = std::vector<Argument>;

/// The kinds of access objects. The plain-valued kinds have the order of the alternatives of `Value`.
enum Kind { INTEGER, INT64, TEXT, INTEGERS, TEXTS, ACTION, TABLE, ITERATOR };
constexpr int OBJECT_TYPE_BY_KIND[] = {
    OBJECT_TYPE_NUMERIC_INTEGER, OBJECT_TYPE_NUMERIC_INT64, OBJECT_TYPE_STRING, OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,
    OBJECT_TYPE_VECTOR_STRING,   OBJECT_TYPE_ACTION,        OBJECT_TYPE_TABLE};
/// The keys, each with the kind that the key's object usually has.
constexpr std::pair<char const*, Kind> KEYS[] = {{COMMAND, TEXTS},        {EVENT, TEXTS},   {SOFTWARE_VERSION, TEXT},
                                                 {SOURCE_SWITCH, ACTION}, {"table", TABLE}, {"number", INT64},
                                                 {"missing", INTEGER}};

/// The types of the values that handlers receive.
constexpr int VALUE_TYPE_BY_KIND[] = {VALUE_INT, VALUE_INT64, VALUE_STRING, VALUE_VECTOR, VALUE_VECTOR, VALUE_VECTOR};
constexpr int STATUS_THROWS = INT_MAX;  ///< The status of an operation that ends with the television's exception.
constexpr int STATUS_WITHDRAWN = 106;   ///< The simulated television's status for a withdrawn object.
constexpr int CREATE_STATUS_NO_TABLE = 4;
constexpr char ARGUMENT_VALUE_WILDCARD[] = "any text";  ///< An expected argument with this text matches every text.

/// Thrown by a failing operation of the reference model.
struct ExpectedFailure {
    int status;
};
inline void failIf(bool condition, int status) { condition ? throw ExpectedFailure{status} : void(); }

/// Runs the operation and returns the status. An operation without a result has the status 0 on success.
template <typename Operation>
int statusOf(Operation const& operation) {
    try {
        if constexpr (std::is_void_v<decltype(operation())>) {
            operation();
            return STATUS_OK;
        } else {
            return operation();
        }
    } catch (ExpectedFailure const& failure) {
        return failure.status;
    } catch (std::bad_alloc const&) {
        return STATUS_THROWS;
    }
}

/// An object that the television publishes, or has withdrawn.
struct ReferenceObject {
    /// An object whose type is not from 1 to 8 is also a table.
    [[nodiscard]] bool isTable() const { return type == OBJECT_TYPE_BY_KIND[TABLE] || type < 1 || type > 8; }

    int type;
    Value value{};
    Rows rows{};
    simulator::ActionScript script{};
    bool isPublished = true;
};

/// The object and the faults of a key.
struct ReferenceKey {
    ReferenceObject* object = nullptr;
    simulator::ConnectFault connectFault{.status = 0, .attempts = 0};
    simulator::ReadFault readFault;
    int invokeFault = 0;
    Call throwingCall = Call::none;
    bool notifiesDuringConnect = false;
    bool refusesIterators = false;
};

/// The part of an access object that the television knows.
struct ReferenceObserver {
    Kind const kind;
    std::string const key;
    std::function<void(Strings const& line)> const receive;
    ReferenceObject* iteratedTable = nullptr;  ///< The table of the iterator; null without an iterator.
};

struct ReferenceTelevision {
    void publish(std::string const& key, ReferenceObject const& object) {
        withdraw(key);
        keys[key].object = &objects.emplace_back(object);
    }
    bool withdraw(std::string const& key) {
        ReferenceObject* const object = std::exchange(keys[key].object, nullptr);
        return object != nullptr && std::exchange(object->isPublished, false);
    }
    /// Notifies those observers of the object that have the interface of the object's type.
    void notify(ReferenceObject const& object, Strings const& line) const {
        for (auto const& [observer, source] : registrations) {
            if (source == &object && observer->kind <= ACTION && OBJECT_TYPE_BY_KIND[observer->kind] == object.type) {
                observer->receive(line);
            }
        }
    }
    bool set(ReferenceObject* object, Value const& value) const {
        bool const fits =
            object != nullptr && object->isPublished && object->type == OBJECT_TYPE_BY_KIND[value.index()];
        if (fits) {
            object->value = value;
            auto const line = [&](auto const& plain) { return lineOf(VALUE_TYPE_BY_KIND[value.index()], plain); };
            notify(*object, std::visit(line, value));
        }
        return fits;
    }
    bool setRows(ReferenceObject* object, Rows const& rows) const {
        bool const fits = object != nullptr && object->isTable();
        if (fits) {
            object->rows = rows;
            for (ReferenceObserver const* const iterator : iteratorObservers) {
                iterator->iteratedTable == object ? iterator->receive(lineOf("update", 0)) : void();
            }
        }
        return fits;
    }

    std::map<std::string, ReferenceKey> keys;
    std::deque<ReferenceObject> objects;  ///< The published and the withdrawn objects.
    bool isReachable = true;
    /// A registration may outlive the access object.
    std::vector<std::pair<std::shared_ptr<ReferenceObserver const>, ReferenceObject const*>> registrations;
    std::set<ReferenceObserver const*> iteratorObservers;
    int waitsAfterFailedAttempts = 0;  ///< How often clients have waited after a failed connect.
};

}  // namespace fuzz
