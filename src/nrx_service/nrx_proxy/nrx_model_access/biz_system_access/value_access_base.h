#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/status.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_handler.h"
#include "objbus/object.h"
#include "objbus/root_interface.h"

namespace orvane::system::support {

/// The common part of all access objects: one model object named by its key, typed reads and writes that connect on
/// demand, and the delivery of new values to a `ValueHandler`. Put the reaction to values into a handler. A derived
/// class, for example a fake, may override any operation and use the fields.
///
/// Call the operations from one thread at a time, unless the comment of an operation says otherwise. Notifications
/// arrive on the model's delivery thread, possibly before `connect` has returned. A handler must not use the access
/// object before `connect` has returned. The operations take no lock, so install the handler before the first connect,
/// and do not replace the handler while notifications can arrive.
///
/// Operations that return an `int` return a `Status`, or the model's own status where documented. Every failure that
/// the access object itself detects is logged. A returned status of the model is not logged. The operations do not
/// catch exceptions of the platform or `std::bad_alloc`. After an exception the access object stays usable. The order
/// of the virtual operations is a binary contract.
class NRX_EXPORT ValueAccessBase {
public:
    ValueAccessBase(ValueAccessBase const&) = delete;  ///< The model holds a pointer to the derived observer.
    ValueAccessBase& operator=(ValueAccessBase const&) = delete;
    /// Does not disconnect. The concrete class or the object's owner disconnects.
    virtual ~ValueAccessBase();

    /// Replaces the handler of new values. An empty `newHandler` removes the handler. Returns 0.
    virtual int setNewValueHandler(std::shared_ptr<ValueHandler> newHandler);

    /// Connects to the model object, with an attempt every 100 milliseconds until `timeoutMs` is spent. A budget of 0
    /// or less makes one attempt without waiting. `timeoutMs` is also the budget of later implicit connects.
    virtual int connect(int timeoutMs) = 0;
    /// Disconnects from the model object. After the return no notification starts, and none runs except a notification
    /// that has called this operation. Without a root interface the call cannot reach the model, which may continue to
    /// notify. Returns 0. If the model throws, the call has had no effect and may be repeated.
    virtual int disconnect() = 0;

    /// Returns the connected object's type, or `OBJECT_TYPE_NONE` if not connected. Never connects.
    virtual objbus::ObjectTypeSpec getType();
    /// The key of the model object, as given at construction.
    virtual std::string getName();

    /// Returns the enumerator's name, or "OBJECT_TYPE_NONE" for any number outside 1 to 8.
    char const* accessTypeName(objbus::ObjectTypeSpec type);

    /// @name Reads
    /// @{

    /// Reads the model object into `out`. An unconnected access connects first, with the budget of the last
    /// `connect(int)` (initially 1000 milliseconds), and returns a failed connect's status. Returns 6 if the object's
    /// type does not match the type of `out`. The string and list reads return the model's status. If no model read was
    /// made, `out` is unchanged.
    virtual int getValue(std::string& out);
    virtual int getValue(int& out);
    virtual int getValue(long long& out);
    virtual int getValue(std::vector<std::string>& out);
    virtual int getValue(std::vector<int>& out);
    /// @}

    /// @name Writes
    /// @{

    /// Writes the model object. Connects like a read, and returns a failed connect's status. Returns 6 if the object's
    /// type does not match the type of `value`, or if the number does not fit into the object. Otherwise calls the
    /// model's write, ignores the model's status and returns 0. Each integer write accepts objects of both integer
    /// types. A list write replaces the whole list.
    virtual int setValue(std::string const& value);
    virtual int setValue(int value);
    virtual int setValue(long long value);
    virtual int setValue(std::vector<std::string> const& value);
    virtual int setValue(std::vector<int> const& value);
    /// @}

    /// Passes a new value to the handler, if there is one, on the calling thread. The handler may destroy this object:
    /// the caller must not use this object afterwards.
    virtual void onNewValue(ValueObject const& value);

    /// Connects an unconnected access with the budget of the last `connect(int)`, and logs the result. Returns 0 if
    /// connected, else the status of `connect`. Reads and writes call this operation first.
    int tryConnectIfNeeded();

    /// Looks up the root interface, at every call. Returns null if `frame::Process` refuses the lookup, or returns no
    /// object for the root interface's name. The root interface stays valid until the process ends.
    objbus::RootInterface* getRootInterface();

protected:
    /// @name Constructors
    /// @{

    /// Does not connect. Without the argument `key` the key is empty.
    ValueAccessBase();
    explicit ValueAccessBase(std::string const& key);
    /// @}

    objbus::Object* object = nullptr;       ///< Null if not connected. The model owns the object.
    std::shared_ptr<ValueHandler> handler;  ///< May be empty.
    std::string name;                       ///< The key.
    int connectTimeoutMs = 1000;            ///< The budget of implicit connects, in milliseconds.

private:
    friend struct ValueOperations;  ///< The common part of the instances of `ValueAccessT`.
};

}  // namespace orvane::system::support
