#pragma once

#include <string>

#include "objbus/object.h"
#include "objbus/observer.h"

namespace objbus {

/// The way into the data model, published by name in the inter-process framework. The platform owns it, for as long as
/// the process runs; any thread may call it.
///
/// The order of the virtual operations is a binary contract.
class __attribute__((visibility("default"))) RootInterface {
public:
    RootInterface() = default;
    RootInterface(RootInterface const&) = delete;
    RootInterface& operator=(RootInterface const&) = delete;
    virtual ~RootInterface();

    /// @name The television's own
    /// @{

    /// Holds its slot; the library does not call it.
    virtual int platformReserved1() = 0;
    virtual int platformReserved2() = 0;
    virtual int platformReserved3() = 0;
    /// @}

    /// Registers `observer`, which is to be of the typed interface that matches the object's type, for the
    /// notifications of the object named `key`; who finds another type disconnects at once. Available: returns 0 and
    /// sets `object`. Not available now: any other status, or 0 with `object` left null; it may become available later.
    virtual int connectObject(std::string const& key, Observer* observer, Object*& object) = 0;

    /// Ends that registration. Once it has returned, `observer` is not called any more: it waits for a call that is
    /// running, but for the one it is called from. Accepts a null `object`, and one that the caller rejected for its
    /// type. The library does not look at the status.
    virtual int disconnectObject(std::string const& key, Observer* observer, Object* object) = 0;
};

}  // namespace objbus
