#pragma once

#include <memory>
#include <optional>
#include <string>

#include "bus/protocol/contract.h"
#include "bus/server/emitter.h"
#include "bus/server/ground.h"
#include "objbus/object.h"
#include "objbus/root_interface.h"

namespace bus::server {

class Iterators;

/// What an object on the bus has to do with.
struct Surroundings {
    Outgoing& outgoing;
    Ground& ground;
    objbus::RootInterface& root;
    Iterators& iterators;
};

/// What there is for one type of object.
struct Kind {
    objbus::ObjectTypeSpec type;
    char const* interface;
    std::unique_ptr<objbus::Observer> (*makeObserver)(Emitter const& emitter);
    bool (*fits)(objbus::Object* object);
    /// Appends those properties of the interface that can be read, and takes their bytes from the room; fails with
    /// `-EMSGSIZE`, and appends nothing, where there is too little.
    int (*appendProperties)(sd_bus_message* message, objbus::Object& object, std::string const& key, std::size_t& room);
};

/// An object of the model that stands on the bus, and tells its changes there. Used on the thread of the loop.
class ServedObject {
public:
    /// Connects to what stands under the key. Null when that fails, which is said, or when it is of another type
    /// meanwhile.
    static std::unique_ptr<ServedObject> connect(Surroundings const& surroundings, std::string const& key,
                                                 objbus::ObjectTypeSpec type);
    ServedObject(ServedObject const&) = delete;
    ServedObject& operator=(ServedObject const&) = delete;
    ~ServedObject();

    [[nodiscard]] std::string const& key() const { return emitter_.origin().key; }
    [[nodiscard]] std::string const& path() const { return emitter_.origin().path; }
    [[nodiscard]] objbus::ObjectTypeSpec type() const { return type_; }
    /// Whether it is the same object of the model's.
    [[nodiscard]] bool isOf(ServedObject const& other) const { return object_ != nullptr && object_ == other.object_; }
    /// Whether it has the interface.
    [[nodiscard]] bool has(std::string const& interface) const;
    /// Of the type that its interface says.
    template <typename Object>
    [[nodiscard]] Object& as() const {
        return static_cast<Object&>(*object_);
    }
    [[nodiscard]] Surroundings const& surroundings() const { return surroundings_; }

    /// The bytes of what tells of it, at most, but for its value.
    [[nodiscard]] std::size_t sizeWithoutValue() const;
    /// Appends the names of its interfaces.
    int appendInterfaces(sd_bus_message* message) const;
    /// Also appends those of their properties that can be read. The bytes of a value are taken from the room. One that
    /// there is no room for is left out, which is said when it begins.
    int appendInterfacesAndProperties(sd_bus_message* message, std::size_t& room);

private:
    ServedObject(Surroundings const& surroundings, Emitter emitter, objbus::ObjectTypeSpec type, Kind const* kind)
        : surroundings_(surroundings), emitter_(std::move(emitter)), type_(type), kind_(kind) {}

    /// Registers for the notifications, where the type has some, and returns whether it is on the bus.
    bool connect();

    Surroundings const& surroundings_;
    Emitter const emitter_;
    objbus::ObjectTypeSpec const type_;
    Kind const* const kind_;  ///< Null for a type that has no interface.
    std::unique_ptr<objbus::Observer> observer_;
    objbus::Object* object_ = nullptr;
    bool isLeftOut_ = false;
};

/// Reads the value of a plain object, and returns a status of the television's.
template <typename T>
int readValue(objbus::Object& object, std::string const& key, T& value);

/// The same for writing.
template <typename T>
int writeValue(objbus::Object& object, T const& value);

}  // namespace bus::server
