#pragma once

#include <cassert>
#include <memory>
#include <string>

#include "bus/protocol/contract.h"
#include "bus/server/server_loop.h"
#include "bus/server/type_descriptor.h"
#include "objbus/object.h"
#include "objbus/root_interface.h"

namespace bus::server {

class ServedIterators;

/// The state that the served objects share. Must outlive the objects.
struct ObjectContext {
    SendQueue& sendQueue;
    ServerLoop& loop;
    objbus::RootInterface& rootInterface;
    ServedIterators& iterators;
};

/// A model object on the bus. Connects to the object and sends the object's changes as signals. Used on the loop's
/// thread.
class ServedObject {
public:
    /// Connects to the object under the key. If the connect fails, reports the failure and returns null. Also returns
    /// null if the key's object has another type by now. Throws `std::bad_alloc`.
    static std::unique_ptr<ServedObject> connect(ObjectContext const& context, std::string const& key,
                                                 objbus::ObjectTypeSpec type);
    ServedObject(ServedObject const&) = delete;
    ServedObject& operator=(ServedObject const&) = delete;
    ~ServedObject();

    [[nodiscard]] std::string const& key() const { return emitter_.source().key; }
    [[nodiscard]] std::string const& path() const { return emitter_.source().path; }
    [[nodiscard]] objbus::ObjectTypeSpec type() const { return type_; }
    /// Whether this object and `other` serve the same object of the model.
    [[nodiscard]] bool servesSameModelObject(ServedObject const& other) const {
        return object_ != nullptr && object_ == other.object_;
    }
    [[nodiscard]] bool hasInterface(std::string const& interface) const;
    /// Returns the model's object as an `Object`, which must be the interface of the object's type.
    template <typename Object>
    [[nodiscard]] Object& as() const {
        assert(dynamic_cast<Object*>(object_) != nullptr);
        return static_cast<Object&>(*object_);
    }
    [[nodiscard]] ObjectContext const& context() const { return context_; }

    /// An upper bound of this object's bytes in a list of objects, without the value.
    [[nodiscard]] std::size_t managedObjectsEntryBytesWithoutValue() const;
    /// Appends the names of the interfaces.
    int appendInterfaces(sd_bus_message* message) const;
    /// Appends the interfaces with the properties that can be read, and subtracts the value's bytes from
    /// `remainingBytes`. Omits a value that does not fit. Reports the omission unless the previous call for this object
    /// also omitted the value.
    int appendInterfacesAndProperties(sd_bus_message* message, std::size_t& remainingBytes);

private:
    ServedObject(ObjectContext const& context, SignalEmitter emitter, objbus::ObjectTypeSpec type,
                 TypeDescriptor const* descriptor)
        : context_(context), emitter_(std::move(emitter)), type_(type), descriptor_(descriptor) {}

    /// Connects the observer, if the type has one, and returns whether the object can be served.
    bool connectObserver();

    ObjectContext const& context_;
    SignalEmitter const emitter_;
    objbus::ObjectTypeSpec const type_;
    TypeDescriptor const* const descriptor_;  ///< Null for a type that has no interface of its own.
    ServerLoop::ObserverList ownObserver_;    ///< Has at most one element.
    objbus::Object* object_ = nullptr;
    bool isValueOmissionReported_ = false;
};

}  // namespace bus::server
