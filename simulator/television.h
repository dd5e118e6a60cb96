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
#include "television/value.h"

namespace simulator {

class __attribute__((visibility("default"))) Model;  // Private to the simulator.

using television::Rows;
using television::Value;

/// How a simulated action answers one `invoke`.
struct ActionAnswer {
    /// The action is done.
    using Results = std::vector<objbus::Argument>;
    /// It failed; the number is the observer's `error`.
    using Error = int;

    int status = 0;                                          ///< What `invoke` returns.
    std::optional<unsigned int> actionId{};                  ///< Written to the caller's id; left as it was when empty.
    std::variant<std::monostate, Results, Error> outcome{};  ///< Sent on the delivery thread; nothing for `monostate`.
};

/// Called on the thread of `invoke`, with no lock held.
using ActionScript = std::function<ActionAnswer(std::vector<objbus::Argument> const& arguments)>;

/// Told of a key under which another object than before stands now, or none.
using ObjectListener = std::function<void(std::string const& key)>;

/// What a client asked for when it made a table iterator.
struct IteratorRequest {
    objbus::IteratorType type{};                     ///< Recorded, not applied.
    std::vector<objbus::TableSelection> selections;  ///< Likewise.
    std::vector<int> columns;                        ///< Their numbers, from 0; all of them when empty.
    std::vector<objbus::TableOrder> orders;          ///< Recorded, not applied.
};

/// A key that does not connect. `status` 0 without an object is a fault too.
struct ConnectFault {
    static constexpr int FOREVER = -1;  ///< Until the fault is replaced.

    int status = 1;               ///< What `connectObject` returns.
    bool handsOutObject = false;  ///< Sets the object all the same; the observer is not registered even so.
    int attempts = FOREVER;       ///< The key is available again after so many failed attempts.
};

/// A key whose strings and lists are not read as they should; numbers are read without a status.
struct ReadFault {
    int status = 0;        ///< What the read returns.
    bool halfWay = false;  ///< Hands out the first half of the value all the same, instead of nothing.
};

/// What the inter-process framework answers to a lookup of the root interface.
enum class RootLookup {
    published,       ///< The root interface.
    refused,         ///< Non-zero status.
    emptyReference,  ///< Status 0, yet no reference.
    nullObject,      ///< A reference with nothing behind it.
};

/// An operation of the model's, as a client calls it.
enum class Call { none, connect, disconnect, type, read, write, invoke, createIterator, destroyIterator };

/// What clients asked about one key.
struct KeyCounts {
    int connectAttempts = 0;           ///< The failed ones too.
    int disconnects = 0;               ///< Of observers that were not connected too.
    int disconnectsWithoutObject = 0;  ///< Of those, the ones given a null object.
    int typeQueries = 0;               ///< Exact while one thread asks at a time.
    int reads = 0;                     ///< The failed ones too.
    int writes = 0;                    ///< Likewise.
    int destroyIteratorCalls = 0;      ///< On the key's tables, whatever they were given.
};

/// An in-process television: the data model, the inter-process framework and one thread that delivers notifications.
///
/// Switched on from construction to destruction; one at a time in a process (a second constructor throws
/// `std::logic_error`). Destroy it after every client of the model: their object pointers end with it. While none is
/// on, lookups are refused.
///
/// Every operation may be called from any thread, also from inside a notification (`waitUntilDelivered` and the
/// destructor excepted). No lock is held while an observer or a script runs.
class __attribute__((visibility("default"))) Television {
public:
    Television();
    Television(Television const&) = delete;
    Television& operator=(Television const&) = delete;
    /// Drops what is still to be delivered, waits for a notification that is running, and ends the thread.
    ~Television();

    /// Publishes a plain-valued object. A key that is taken is withdrawn first.
    void publish(std::string const& key, Value value);
    /// Publishes an action that `script` answers.
    void publishAction(std::string const& key, ActionScript script);
    /// Publishes a table. An iterator reads from its rows the columns that it asked for.
    void publishTable(std::string const& key, Rows rows);
    /// Publishes an object of any type, with an empty value. One of `OBJECT_TYPE_VECTOR_INTEGER`, which no client
    /// operation serves, has a type and nothing else; one of no type that is known is a table that does not say so.
    void publishBare(std::string const& key, objbus::ObjectTypeSpec type);

    /// Takes the object away from its key and returns whether there was one. Clients connected to it keep their
    /// pointer; it takes no writes, sends no notifications, and its reads of strings and lists fail.
    bool withdraw(std::string const& key);

    /// Changes a value as the television does: every connected observer hears it, in the order of the changes.
    /// Returns whether `key` names a plain-valued object of the value's type; nothing changes otherwise.
    bool set(std::string const& key, Value const& value);
    /// The value now; empty when `key` names no plain-valued object.
    [[nodiscard]] std::optional<Value> get(std::string const& key) const;
    /// What is published now: the keys, and the types of their objects.
    [[nodiscard]] std::map<std::string, objbus::ObjectTypeSpec> objects() const;
    /// The type of the object under one key; empty when nothing is published there.
    [[nodiscard]] std::optional<objbus::ObjectTypeSpec> type(std::string const& key) const;
    /// Calls `listener` from now on for every object that is published under a key or withdrawn, once for one that
    /// replaces another: on the delivery thread, in the order of these and of the notifications of changes. What stands
    /// under the key then, `objects` and `get` tell; it may be a later object already. Empty: no longer, once no call
    /// is running.
    void setObjectListener(ObjectListener listener);
    /// Replaces the rows of a table; its observers and its iterators' observers hear `notifyUpdate`. Returns whether
    /// `key` names a table.
    bool setRows(std::string const& key, Rows rows);

    /// Blocks until every notification of the changes made so far has returned. Not to be called from inside one.
    void waitUntilDelivered();

    /// @name Faults
    /// @{

    /// Decides what clients get from now on when they look the root interface up.
    void setRootLookup(RootLookup answer);
    /// Makes connects to `key` fail from now on, until the fault is used up or replaced.
    void failConnects(std::string const& key, ConnectFault fault);
    /// Makes the reads of strings and lists under `key` return another status from now on; `{}` ends the fault.
    void failReads(std::string const& key, ReadFault fault);
    /// Makes `invoke` of the action under `key` return `status` without reaching its script; 0 ends the fault.
    void failInvokes(std::string const& key, int status);
    /// Makes every call of one operation on `key`, or on its objects, throw `std::bad_alloc` before it does anything;
    /// `none` ends it.
    void throwFrom(std::string const& key, Call call);
    /// Makes every connect to the value under `key` notify its observers before it returns, as a television does that
    /// tells the value at once. Such a connect is not made from inside a notification.
    void notifyEarly(std::string const& key, bool early);
    /// Makes `createIterator` on the table under `key` return null.
    void refuseIterators(std::string const& key, bool refuse);
    /// Makes `destroyIterator` on the table under `key` return `status` and destroy nothing; 0 ends the fault.
    void failDestroys(std::string const& key, int status);

    /// @}

    /// @name What clients did since the television is on
    /// @{

    /// Lookups of the root interface, the refused ones too.
    [[nodiscard]] int lookups() const;
    /// What was asked about one key, whichever objects were published under it.
    [[nodiscard]] KeyCounts counts(std::string const& key) const;
    /// The registrations of observers with the objects published under `key`, withdrawn ones included.
    [[nodiscard]] int registrations(std::string const& key) const;
    /// The newest request for an iterator on the table under `key`.
    [[nodiscard]] std::optional<IteratorRequest> iteratorRequest(std::string const& key) const;
    /// @}

private:
    std::shared_ptr<Model> model_;
};

}  // namespace simulator
