#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "objbus/argument.h"
#include "objbus/object_type.h"
#include "objbus/table.h"
#include "television/presence.h"
#include "television/value.h"

namespace simulator {

class __attribute__((visibility("default"))) Model;  // Private to the simulator.

using television::Rows;
using television::Value;

/// A simulated action's answer to one `invoke`.
struct ActionAnswer {
    /// The results of an action that succeeds.
    using Results = std::vector<objbus::Argument>;
    /// The `error` that observers receive if the action fails.
    using Error = int;

    int status = 0;  ///< The return value of `invoke`.
    /// If this member has a value, `invoke` assigns the value to its argument `actionId`.
    std::optional<unsigned int> actionId{};
    /// The delivery thread notifies the observers of the outcome, unless the outcome is `monostate`.
    std::variant<std::monostate, Results, Error> outcome{};
};

/// Called on the thread of `invoke`, with no lock held.
using ActionScript = std::function<ActionAnswer(std::vector<objbus::Argument> const& arguments)>;

/// Called with the key of an object that was published, replaced or withdrawn.
using ObjectListener = std::function<void(std::string const& key)>;

/// A client's request for a table iterator.
struct IteratorRequest {
    objbus::IteratorType type{};                     ///< Recorded, not applied.
    std::vector<objbus::TableSelection> selections;  ///< Recorded, not applied.
    std::vector<int> columns;                        ///< Column numbers, from 0; all columns if empty.
    std::vector<objbus::TableOrder> orders;          ///< Recorded, not applied.
};

/// A fault of connects to a key. If `status` is 0 and `handsOutObject` is false, the connect returns 0 and sets no
/// object.
struct ConnectFault {
    static constexpr int FOREVER = -1;  ///< Until the fault is replaced.

    int status = 1;               ///< The return value of `connectObject`.
    bool handsOutObject = false;  ///< Whether a failing connect, which registers no observer, sets the object.
    int attempts = FOREVER;       ///< The number of failing attempts.
};

/// A fault of a key's reads of strings and lists. Reads of numbers have no status.
struct ReadFault {
    int status = 0;        ///< The return value of the read.
    bool halfWay = false;  ///< Whether the read returns half of the value. Otherwise a failed read returns no value.
};

/// The inter-process framework's result of a lookup of the root interface.
enum class RootLookup {
    published,       ///< The root interface.
    refused,         ///< Non-zero status.
    emptyReference,  ///< Status 0 without a reference.
    nullObject,      ///< A reference to a null object.
};

/// An operation of the model that clients call.
enum class Call { none, connect, disconnect, type, read, write, invoke, createIterator, destroyIterator };

/// Numbers of the clients' operations on one key.
struct KeyCounts {
    int connectAttempts = 0;           ///< Including failed attempts.
    int disconnects = 0;               ///< Including disconnects of observers that were not connected.
    int disconnectsWithoutObject = 0;  ///< Disconnects with a null object.
    int typeQueries = 0;               ///< Exact if only one thread queries at a time.
    int reads = 0;                     ///< Including failed reads.
    int writes = 0;                    ///< Including failed writes.
    int destroyIteratorCalls = 0;      ///< Including calls with an unknown iterator.
};

/// An in-process television: the data model, the inter-process framework and one thread that delivers notifications.
///
/// A television is on from construction until destruction. The constructor of a second television throws
/// `std::logic_error`. Destroy the television after all clients of the model, because the destructor invalidates their
/// object pointers. Lookups fail while no television is on. A `Television` variable in the global namespace cannot be
/// named `television`, because a namespace has this name.
///
/// All operations may be called from any thread, and all except `waitUntilDelivered` and the destructor also from
/// inside a notification. No lock is held while an observer or a script runs.
class __attribute__((visibility("default"))) Television {
public:
    Television();
    Television(Television const&) = delete;
    Television& operator=(Television const&) = delete;
    /// Drops the pending notifications, waits for a running notification, and ends the delivery thread.
    ~Television();

    /// Publishes a plain-valued object. Withdraws the key's earlier object first.
    void publish(std::string const& key, Value value);
    /// Publishes an action. `script` answers the invocations.
    void publishAction(std::string const& key, ActionScript script);
    /// Publishes a table. An iterator reads the columns that its client requested.
    void publishTable(std::string const& key, Rows rows);
    /// Publishes an object of any type, with an empty value. An object of `OBJECT_TYPE_VECTOR_INTEGER` has a type only,
    /// because no client operation supports this type. An object of an unknown type behaves like a table.
    void publishBare(std::string const& key, objbus::ObjectTypeSpec type);

    /// Withdraws the key's object and returns whether there was one. Connected clients keep their pointers. A withdrawn
    /// object accepts no writes, sends no notifications, and its reads of strings and lists fail.
    bool withdraw(std::string const& key);

    /// Changes a value and notifies every connected observer, in the order of the changes. Returns false and changes
    /// nothing if no object with a plain value of this type is published under `key`.
    bool set(std::string const& key, Value const& value);
    /// Returns the current value; empty if no object with a plain value is published under `key`.
    [[nodiscard]] std::optional<Value> get(std::string const& key) const;
    /// Returns the keys and the types of the published objects.
    [[nodiscard]] std::map<std::string, objbus::ObjectTypeSpec> objects() const;
    /// Returns the type of the key's object; empty if the key has no object.
    [[nodiscard]] std::optional<objbus::ObjectTypeSpec> type(std::string const& key) const;
    /// Calls `listener` for every object that is published or withdrawn from now on, once for an object that replaces
    /// another. The delivery thread calls the listener. These calls and the notifications of changes have the order of
    /// the publications, withdrawals and changes. When the listener runs, the key may already have a newer object,
    /// which `objects` and `get` then describe. An empty `listener` removes the listener and waits for a running call.
    void setObjectListener(ObjectListener listener);
    /// Replaces the rows of a table and sends `notifyUpdate` to the observers of the table and of its iterators.
    /// Returns whether `key` has a table.
    bool setRows(std::string const& key, Rows rows);

    /// Blocks until all notifications of earlier changes have returned. Must not be called inside a notification.
    void waitUntilDelivered();

    /// @name Faults
    /// @{

    /// Sets the result of later lookups of the root interface.
    void setRootLookup(RootLookup answer);
    /// Makes later connects to `key` fail. The fault ends after `fault.attempts` connects, or when a later call of this
    /// function replaces the fault.
    void failConnects(std::string const& key, ConnectFault fault);
    /// Makes later reads of strings and lists under `key` return the fault's status; `{}` ends the fault.
    void failReads(std::string const& key, ReadFault fault);
    /// Makes `invoke` of the action under `key` return `status` without calling its script; 0 ends the fault.
    void failInvokes(std::string const& key, int status);
    /// Makes every call of one operation on `key`, or on its objects, throw `std::bad_alloc` without any effect; `none`
    /// ends the fault.
    void throwFrom(std::string const& key, Call call);
    /// Makes every connect to the value under `key` notify the value's observers before the connect returns, like a
    /// television that sends the value at once. Such a connect must not be made from inside a notification.
    void notifyEarly(std::string const& key, bool early);
    /// If `refuse` is true, later calls of `createIterator` on the table under `key` return null. If `refuse` is false,
    /// the fault ends.
    void refuseIterators(std::string const& key, bool refuse);
    /// Makes `destroyIterator` on the table under `key` return `status` and destroy nothing; 0 ends the fault.
    void failDestroys(std::string const& key, int status);

    /// @}

    /// @name Operations of clients since the construction of the television
    /// @{

    /// The number of lookups of the root interface, including refused lookups.
    [[nodiscard]] int lookups() const;
    /// The numbers of operations on one key, for all objects that were published under the key.
    [[nodiscard]] KeyCounts counts(std::string const& key) const;
    /// The current number of registrations with all objects that were ever published under `key`. An observer that
    /// connected twice has two registrations.
    [[nodiscard]] int registrations(std::string const& key) const;
    /// The newest request for an iterator on the table under `key`.
    [[nodiscard]] std::optional<IteratorRequest> iteratorRequest(std::string const& key) const;
    /// @}

private:
    std::shared_ptr<Model> model_;
};

/// Returns whether a television is on in this process.
__attribute__((visibility("default"))) television::Presence presence();

/// Calls `listener` with the current presence and then with each change: on the delivery thread while a television is
/// on, otherwise on the thread that calls this function or destroys the television. Replaces the earlier listener.
/// Waits until a call of the earlier listener on the delivery thread has returned, except inside that call. An empty
/// listener ends the calls.
__attribute__((visibility("default"))) void setPresenceListener(television::PresenceListener listener);

}  // namespace simulator
