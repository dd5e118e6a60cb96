#pragma once

#include <algorithm>
#include <climits>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/status.h"
#include "simulator/television.h"

/// A plain model of the access objects, and of the television in front of them: what ought to come of each operation.
namespace fuzz {

using namespace orvane::system::support;
using simulator::ActionAnswer, simulator::Call, simulator::Rows, simulator::Value;
using Strings = std::vector<std::string>;

/// The kinds of access objects. The plain-valued ones have the order of the alternatives of `Value`.
enum Kind { INTEGER, INT64, TEXT, INTEGERS, TEXTS, ACTION, TABLE, ITERATOR };
constexpr int TYPES[] = {objbus::OBJECT_TYPE_NUMERIC_INTEGER,
                         objbus::OBJECT_TYPE_NUMERIC_INT64,
                         objbus::OBJECT_TYPE_STRING,
                         objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,
                         objbus::OBJECT_TYPE_VECTOR_STRING,
                         objbus::OBJECT_TYPE_ACTION,
                         objbus::OBJECT_TYPE_TABLE};

constexpr int THROWS = INT_MAX;  ///< The outcome of an operation that the television's exception left.
constexpr int WITHDRAWN = 106;   ///< What the simulated television says of an object that is gone.

// A value as a handler is to hear it: its type and its texts.
inline Strings shown(int value) { return {"1", std::to_string(value)}; }
inline Strings shown(long long value) { return {"3", std::to_string(value)}; }
inline Strings shown(std::string const& value) { return {"8", value}; }
template <typename T>
Strings shown(std::vector<T> const& list) {
    Strings line{"9"};
    for (T const& element : list) {
        line.push_back(shown(element)[1]);
    }
    return line;
}

/// What the television has, or had, under a key.
struct Object {
    [[nodiscard]] bool namesNoKind() const { return type < 1 || type > 8; }
    /// One that does not say what it is is a table, too.
    [[nodiscard]] bool isTable() const { return type == TYPES[TABLE] || namesNoKind(); }

    int type = objbus::OBJECT_TYPE_NONE;
    Value value{};
    Rows rows{};
    bool answers = false;  ///< An action's.
    bool published = true;
};
using ObjectPtr = std::shared_ptr<Object>;

/// A key, and what goes wrong under it.
struct Key {
    ObjectPtr object;
    simulator::ConnectFault unavailable{.status = 0, .attempts = 0};
    simulator::ReadFault unreadable;
    int refusal = 0;  ///< Of invocations.
    Call throws = Call::none;
    bool early = false;
    bool refusesIterators = false;
};

/// An access object as it ought to be.
struct Twin {
    Kind kind;
    std::string key;
    std::function<void(Strings)> hear = [](Strings const& /*line*/) {};
    int budgetMs = 1000;
    ObjectPtr object{};
    std::shared_ptr<Twin> table{};  ///< Connected; an iterator's.
    ObjectPtr rows{};               ///< Of the table on which there is an iterator.
};
using TwinPtr = std::shared_ptr<Twin>;

struct Model {
    bool throws(TwinPtr const& twin, Call call) { return keys[twin->key].throws == call; }

    bool isRegistered(TwinPtr const& twin) const {
        return std::any_of(registrations.begin(), registrations.end(), [&](auto& each) { return each.first == twin; });
    }
    /// Ends the registrations with the object; without one, with all.
    void unregister(TwinPtr const& twin, ObjectPtr const& object) {
        std::erase_if(registrations,
                      [&](auto& each) { return each.first == twin && (!object || each.second == object); });
    }

    /// Tells those that are registered and of the object's kind.
    void tell(ObjectPtr const& object, Strings const& line) const {
        for (auto const& [twin, source] : registrations) {
            if (source == object && twin->kind <= ACTION && TYPES[twin->kind] == object->type) {
                twin->hear(line);
            }
        }
    }

    bool withdraw(std::string const& key) {
        ObjectPtr const object = std::exchange(keys[key].object, nullptr);
        return object && std::exchange(object->published, false);
    }

    bool set(ObjectPtr const& object, Value const& value) const {
        bool const fits = object && object->published && object->type == TYPES[value.index()];
        if (fits) {
            object->value = value;
            tell(object, std::visit([](auto const& plain) { return shown(plain); }, value));
        }
        return fits;
    }

    bool setRows(ObjectPtr const& object, Rows const& rows) const {
        bool const fits = object && object->isTable();
        if (fits) {
            object->rows = rows;
            for (TwinPtr const& iterator : iterators) {
                iterator->rows == object ? iterator->hear({"update", "0"}) : void();
            }
        }
        return fits;
    }

    int connect(TwinPtr const& twin, int budgetMs);
    int disconnect(TwinPtr const& twin);
    int find(TwinPtr const& twin);
    int read(TwinPtr const& twin, Value& out);
    int write(TwinPtr const& twin, Value value);
    int invoke(TwinPtr const& twin, unsigned int& id);
    int create(TwinPtr const& twin);
    int destroy(TwinPtr const& twin);

    std::map<std::string, Key> keys;
    bool reachable = true;
    int sleeps = 0;
    std::vector<std::pair<TwinPtr, ObjectPtr>> registrations;
    std::set<TwinPtr> iterators;  ///< That there are.
    ActionAnswer answer;          ///< Of every action that answers.
    bool answered = false;        ///< Whether one was asked.
};

inline int Model::connect(TwinPtr const& twin, int budgetMs) {
    if (twin->kind == ITERATOR) {
        return STATUS_OK;
    }
    if (twin->kind < ACTION && twin->key == "missing") {
        return STATUS_ERR_MISSING_VALUE;
    }
    twin->budgetMs = budgetMs;
    if (twin->object || !reachable) {
        return twin->object ? STATUS_OK : STATUS_ERR_CONNECT_FAILED;
    }
    Key& key = keys[twin->key];
    if (key.throws == Call::connect) {
        return THROWS;
    }
    auto& [status, handsOutObject, faults] = key.unavailable;
    bool fails = true;
    for (int attempts = std::max(1, (budgetMs + 99) / 100);; --attempts) {
        fails = faults != 0;
        faults -= faults > 0 ? 1 : 0;
        if (key.object && (!fails || (status == 0 && handsOutObject))) {
            break;
        }
        sleeps += budgetMs > 0 ? 1 : 0;
        if (attempts == 1) {
            return STATUS_ERR_CONNECT_FAILED;
        }
    }
    if (!fails) {  // Or the television only says that it has connected.
        registrations.emplace_back(twin, key.object);
        key.early ? set(key.object, key.object->value) : false;
    }
    if (twin->kind != TABLE) {  // That one does not ask for the type.
        bool const fits = key.object->type == TYPES[twin->kind];
        if (key.throws == Call::type || (!fits && key.throws != Call::disconnect)) {
            unregister(twin, key.object);
        }
        if (key.throws == Call::type || !fits) {
            bool const thrown = key.throws == Call::type || key.throws == Call::disconnect;
            return thrown ? THROWS : STATUS_ERR_VALUE_TYPE_MISMATCH;
        }
    }
    twin->object = key.object;
    return STATUS_OK;
}

inline int Model::disconnect(TwinPtr const& twin) {
    if (twin->kind == ITERATOR) {
        return STATUS_OK;
    }
    if (reachable) {
        if (throws(twin, Call::disconnect)) {
            return THROWS;
        }
        unregister(twin, twin->object);
    }
    twin->object.reset();
    return STATUS_OK;
}

/// The beginning of every read and write.
inline int Model::find(TwinPtr const& twin) {
    int const status = twin->object ? STATUS_OK : connect(twin, twin->budgetMs);
    if (status != STATUS_OK || twin->kind == ITERATOR) {
        return status != STATUS_OK ? status : STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    return throws(twin, Call::type) ? THROWS : STATUS_OK;
}

inline int Model::read(TwinPtr const& twin, Value& out) {
    int const status = find(twin);
    if (status != STATUS_OK || twin->object->type != TYPES[out.index()]) {
        return status != STATUS_OK ? status : STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    auto const& [fault, halfWay] = keys[twin->key].unreadable;
    bool const number = out.index() <= INT64;  // Is read without a status.
    if (throws(twin, Call::read)) {
        return THROWS;
    }
    if (!number && !twin->object->published) {
        return WITHDRAWN;
    }
    if (number || halfWay || fault == STATUS_OK) {
        out = twin->object->value;
    }
    auto const halve = [](auto& value) {
        if constexpr (requires { value.resize(0); }) {
            value.resize(value.size() / 2);
        }
    };
    halfWay ? std::visit(halve, out) : void();
    return number ? STATUS_OK : fault;
}

inline int Model::write(TwinPtr const& twin, Value value) {
    if (int const status = find(twin); status != STATUS_OK) {
        return status;
    }
    int const type = twin->object->type;
    if (auto const* const number = std::get_if<int>(&value); number != nullptr && type == TYPES[INT64]) {
        value = static_cast<long long>(*number);
    } else if (auto const* const large = std::get_if<long long>(&value);
               large != nullptr && type == TYPES[INTEGER] && *large >= INT_MIN && *large <= INT_MAX) {
        value = static_cast<int>(*large);
    }
    if (type != TYPES[value.index()]) {
        return STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    if (throws(twin, Call::write)) {
        return THROWS;
    }
    set(twin->object, value);
    return STATUS_OK;
}

inline int Model::invoke(TwinPtr const& twin, unsigned int& id) {
    if (!twin->object || throws(twin, Call::invoke)) {
        return twin->object ? THROWS : -1;
    }
    int const refusal = twin->object->published ? keys[twin->key].refusal : WITHDRAWN;
    if (refusal != 0 || !twin->object->answers) {
        return refusal;
    }
    answered = true;
    id = answer.actionId.value_or(id);
    if (auto const* const error = std::get_if<ActionAnswer::Error>(&answer.outcome)) {
        tell(twin->object, {"error", std::to_string(id), std::to_string(*error)});
    } else if (auto const* const results = std::get_if<ActionAnswer::Results>(&answer.outcome)) {
        Strings texts(results->size());
        for (objbus::Argument const& result : *results) {
            if (result.index >= 0 && result.index < static_cast<int>(texts.size())) {
                texts[static_cast<std::size_t>(result.index)] = result.value;
            }
        }
        texts.insert(texts.begin(), {std::to_string(id), "9"});
        tell(twin->object, texts);
    }
    return answer.status;
}

inline int Model::create(TwinPtr const& twin) {
    auto const table = std::make_shared<Twin>(Twin{TABLE, twin->key});
    int status = connect(table, 1000);
    if (status == STATUS_OK) {
        status = throws(table, Call::type) ? THROWS : table->object->isTable() ? destroy(twin) : 4;
    }
    if (status == STATUS_OK && throws(table, Call::createIterator)) {
        status = THROWS;
    }
    if (status != STATUS_OK) {
        table->object ? disconnect(table) : 0;
        return status == THROWS ? THROWS : 4;
    }
    if (!keys[twin->key].refusesIterators) {
        twin->rows = table->object;
        iterators.insert(twin);
        twin->hear({"ready", "0"});
    }
    TwinPtr const former = std::exchange(twin->table, table);
    return former ? disconnect(former) : STATUS_OK;
}

inline int Model::destroy(TwinPtr const& twin) {
    if (twin->rows && throws(twin, Call::destroyIterator)) {
        return THROWS;
    }
    iterators.erase(twin);
    twin->rows.reset();
    return STATUS_OK;
}

}  // namespace fuzz
