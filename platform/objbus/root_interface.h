#pragma once

#include <string>

#include "objbus/object.h"
#include "objbus/observer.h"

namespace objbus {

/// The entry point of the data model, published by name in the inter-process framework. The platform owns the root
/// interface until the process ends. All threads may call the root interface.
///
/// The order of the virtual operations is a binary contract.
class __attribute__((visibility("default"))) RootInterface {
public:
    RootInterface() = default;
    RootInterface(RootInterface const&) = delete;
    RootInterface& operator=(RootInterface const&) = delete;
    virtual ~RootInterface();

    /// @name For the television's own use
    /// @{

    /// The library does not call these operations, which only keep their slots.
    virtual int platformReserved1() = 0;
    virtual int platformReserved2() = 0;
    virtual int platformReserved3() = 0;
    /// @}

    /// Registers `observer` for the notifications of the object named `key`. The observer must have the typed interface
    /// that matches the object's type. A caller that cannot use an object of another type calls `disconnectObject` at
    /// once. Returns 0 and sets `object` if the object is available. Otherwise returns another status, or 0 with a null
    /// `object`. The object may become available later.
    virtual int connectObject(std::string const& key, Observer* observer, Object*& object) = 0;

    /// Ends the registration. The model does not call `observer` after the return. The operation waits until a running
    /// notification has returned, unless the operation is called inside this notification. Accepts a null `object`, and
    /// an object that the caller rejected for its type. The library ignores the status.
    virtual int disconnectObject(std::string const& key, Observer* observer, Object* object) = 0;
};

}  // namespace objbus
