#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <span>
#include <string>

#include "bus/server/signal_emitter.h"
#include "objbus/object.h"

namespace bus::server {

class ServedObject;

/// The server's operations for the objects of one type.
struct TypeDescriptor {
    objbus::ObjectTypeSpec type;
    char const* interface;
    sd_bus_vtable const* vtable;  ///< For the interface. The handlers receive a `ServedObject` of the type.
    std::unique_ptr<objbus::Observer> (*makeObserver)(SignalEmitter const& emitter);
    bool (*isInstance)(objbus::Object* object);
    /// Appends the properties that can be read, and subtracts their bytes from `remainingBytes`. Appends nothing and
    /// returns `-EMSGSIZE` if there is too little room.
    int (*appendProperties)(sd_bus_message* message, ServedObject const& object, std::size_t& remainingBytes);
};

/// All types that have an interface of their own.
std::span<TypeDescriptor const> typesWithOwnInterface();

/// The vtable of the interface that all objects have. The handlers receive a `ServedObject`.
extern sd_bus_vtable const OBJECT_VTABLE[];

}  // namespace bus::server
