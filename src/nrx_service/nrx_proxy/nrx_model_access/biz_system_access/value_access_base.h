#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/status.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_handler.h"
#include "objbus/object.h"
#include "objbus/root_interface.h"

namespace orvane::system::support {

/// What every access object shares: one model object named by its key, typed reads and writes that connect on demand,
/// and the way of new values to a `ValueHandler`. What varies is best put into a handler; a class that derives from an
/// access object, for a reaction of its own or as a fake, may override any operation and use the fields.
///
/// The caller's thread connects, disconnects, reads and writes; calls on one access object come from one thread at a
/// time, unless an operation says otherwise. Notifications come on the model's delivery thread, perhaps before
/// `connect` has returned; a handler leaves the access object alone until it has. No lock is taken: the handler is
/// installed before the first connect and not replaced while notifications can arrive.
///
/// Operations that return an `int` return a `Status`, or the model's own status where they say so. Every failure found
/// here is logged; the model's statuses are passed on without a line. What the platform throws, and lack of memory,
/// passes through, and the object can still be used. The order of the virtual operations is a binary
/// contract.
class NRX_EXPORT ValueAccessBase {
public:
    ValueAccessBase(ValueAccessBase const&) = delete;  ///< The model knows the object by its address.
    ValueAccessBase& operator=(ValueAccessBase const&) = delete;
    /// Does not disconnect; that is the concrete class's or its owner's part.
    virtual ~ValueAccessBase();

    /// Installs, replaces or (empty) removes the receiver of new values. Returns 0.
    virtual int setNewValueHandler(std::shared_ptr<ValueHandler> newHandler);

    /// Obtains the model object, asking every 100 milliseconds until `timeoutMs` is spent, and keeps `timeoutMs` as
    /// the budget of later implicit connects. Asks once, without waiting, for a budget of 0 or less.
    virtual int connect(int timeoutMs) = 0;
    /// Detaches from the model object. No notification runs or starts after it returned, but for the one it may be
    /// called from. Without a root interface the model cannot be told: it may go on notifying. Returns 0; when the
    /// model throws, nothing has happened, and it may be tried again.
    virtual int disconnect() = 0;

    /// The connected object's type; `OBJECT_TYPE_NONE` when not connected. Never connects.
    virtual objbus::ObjectTypeSpec getType();
    /// The key of the model object, as given at construction.
    virtual std::string getName();

    /// The enumerator's name; "OBJECT_TYPE_NONE" for any number outside 1 to 8.
    char const* accessTypeName(objbus::ObjectTypeSpec type);

    /// @name Reads
    /// @{

    /// Reads the model object into `out`. An unconnected access connects first, with the budget of the last
    /// `connect(int)` (1000 milliseconds before any) and its statuses; 6 when the object is not of exactly the type
    /// read. The string and list reads pass on the model's status. `out` is left alone on our own failures.
    virtual int getValue(std::string& out);
    virtual int getValue(int& out);
    virtual int getValue(long long& out);
    virtual int getValue(std::vector<std::string>& out);
    virtual int getValue(std::vector<int>& out);
    /// @}

    /// @name Writes
    /// @{

    /// Writes the model object; connecting and statuses as for reads, but 0 whatever the model makes of the write.
    /// Whole numbers cross over between the two integer types when they fit (6 when not); a list is handed over whole.
    virtual int setValue(std::string const& value);
    virtual int setValue(int value);
    virtual int setValue(long long value);
    virtual int setValue(std::vector<std::string> const& value);
    virtual int setValue(std::vector<int> const& value);
    /// @}

    /// Hands a new value to the handler, if there is one, on the thread that calls. The handler may destroy this
    /// object: a caller touches nothing of it afterwards.
    virtual void onNewValue(ValueObject const& value);

    /// Connects, when not connected, with the budget of the last `connect(int)`, and logs the outcome. 0 connected or
    /// connected already, else the status of `connect`. Reads and writes begin with it.
    int tryConnectIfNeeded();

    /// Looks the root interface up, anew at every call. Null when the framework refuses, or has nothing behind
    /// the name. It stays valid for as long as the process runs.
    objbus::RootInterface* getRootInterface();

protected:
    /// @name Constructors
    /// @{

    /// Not connected; with an empty key unless one is given.
    ValueAccessBase();
    explicit ValueAccessBase(std::string const& key);
    /// @}

    objbus::Object* object = nullptr;       ///< Connected exactly when not null. The model owns it.
    std::shared_ptr<ValueHandler> handler;  ///< May be empty.
    std::string name;                       ///< The key.
    int connectTimeoutMs = 1000;            ///< The budget of implicit connects, in milliseconds.

private:
    friend struct ValueOperations;  ///< What the instances of `ValueAccessT` have in common.
};

}  // namespace orvane::system::support
