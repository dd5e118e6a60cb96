#include "bus/server/served_object.h"

#include <map>
#include <utility>

#include "bus/server/report.h"
#include "television/status.h"

namespace bus::server {

namespace {

/// An observer that tells on the bus what it hears.
template <typename Base>
class Telling : public Base {
public:
    explicit Telling(Emitter emitter) : emitter_(std::move(emitter)) {}

protected:
    [[nodiscard]] Emitter const& emitter() const { return emitter_; }

private:
    Emitter const emitter_;
};

template <typename Base, typename T>
class NumberObserver final : public Telling<Base> {
public:
    using Telling<Base>::Telling;
    void notifyNewValue(T value) override { this->emitter().changed(value); }
};

class StringObserver final : public Telling<objbus::ObserverString> {
public:
    using Telling::Telling;
    void notifyNewValue(std::string const& value) override { emitter().changed(value); }
};

class IntegerListObserver final : public Telling<objbus::ObserverVectorNumericInteger> {
public:
    using Telling::Telling;
    void notifyIntegerVector(std::vector<int> const& values) override { emitter().changed(values); }
};

class StringListObserver final : public Telling<objbus::ObserverVectorString> {
public:
    using Telling::Telling;
    void notifyStringVector(std::vector<std::string> const& values) override { emitter().changed(values); }
};

class ActionObserver final : public Telling<objbus::ObserverAction> {
public:
    using Telling::Telling;
    void notifyResult(unsigned int id, std::vector<objbus::Argument> const& results) override {
        if (!emitter().signalIfCarried("Result", id, results)) {
            notifyExecutionError(id, television::STATUS_NOT_CARRIED);
        }
    }
    void notifyExecutionError(unsigned int id, int error) override { emitter().signal("ExecutionError", id, error); }
};

class TableObserver final : public Telling<objbus::ObserverTable> {
public:
    using Telling::Telling;
    void notifyUpdate(int update) override { emitter().signal("Updated", update); }
};

// What the plain objects are read and written through.

template <typename T>
struct PlainObject;

template <>
struct PlainObject<int> {
    using Type = objbus::ObjectNumericInteger;
    using Observer = NumberObserver<objbus::ObserverNumericInteger, int>;
};

template <>
struct PlainObject<long long> {
    using Type = objbus::ObjectNumericInt64;
    using Observer = NumberObserver<objbus::ObserverNumericInt64, long long>;
};

template <>
struct PlainObject<std::string> {
    using Type = objbus::ObjectString;
    using Observer = StringObserver;
};

template <>
struct PlainObject<std::vector<int>> {
    using Type = objbus::ObjectVectorNumericInteger;
    using Observer = IntegerListObserver;
};

template <>
struct PlainObject<std::vector<std::string>> {
    using Type = objbus::ObjectVectorString;
    using Observer = StringListObserver;
};

template <typename Object, typename T>
int get(Object& object, T& value) {
    if constexpr (std::is_arithmetic_v<T>) {
        value = object.getValue();
        return television::STATUS_OK;
    } else {
        return object.getValue(value);
    }
}

template <typename T>
T const& asWritten(T const& value) {
    return value;
}

template <typename T>
std::map<int, T> asWritten(std::vector<T> const& list) {
    std::map<int, T> elements;
    for (T const& element : list) {
        elements.emplace_hint(elements.end(), static_cast<int>(elements.size()), element);
    }
    return elements;
}

constexpr std::size_t MOST_TOLD_BYTES = std::size_t{64} * 1024;  ///< Of a value, where many are told at once.

template <typename T>
int appendValue(sd_bus_message* message, objbus::Object& object, std::string const& key, std::size_t& room) {
    T value{};
    try {
        if (readValue(object, key, value) != television::STATUS_OK || sizeOf(value) > MOST_TOLD_BYTES) {
            return 0;
        }
    } catch (...) {  // The model fails, and the others can be read all the same.
        return 0;
    }
    if (wireSize(value) > room) {
        return -EMSGSIZE;
    }
    room -= wireSize(value);
    return appendProperty(message, "Value", Plain<T>::SIGNATURE, value);
}

int appendNothing(sd_bus_message* /*message*/, objbus::Object& /*object*/, std::string const& /*key*/,
                  std::size_t& /*room*/) {
    return 0;
}

template <typename Observer>
std::unique_ptr<objbus::Observer> makeObserver(Emitter const& emitter) {
    return std::make_unique<Observer>(emitter);
}

template <typename Object>
bool fits(objbus::Object* object) {
    return dynamic_cast<Object*>(object) != nullptr;
}

template <typename T>
constexpr Kind plainKind() {
    using Shape = PlainObject<T>;
    return {Plain<T>::TYPE, Plain<T>::INTERFACE, makeObserver<typename Shape::Observer>, fits<typename Shape::Type>,
            appendValue<T>};
}

constexpr Kind KINDS[] = {
    plainKind<int>(),
    plainKind<long long>(),
    plainKind<std::string>(),
    plainKind<std::vector<int>>(),
    plainKind<std::vector<std::string>>(),
    {objbus::OBJECT_TYPE_ACTION, ACTION_INTERFACE, makeObserver<ActionObserver>, fits<objbus::ObjectAction>,
     appendNothing},
    {objbus::OBJECT_TYPE_TABLE, TABLE_INTERFACE, makeObserver<TableObserver>, fits<objbus::ObjectTable>, appendNothing},
};

Kind const* kindOf(objbus::ObjectTypeSpec type) {
    for (Kind const& kind : KINDS) {
        if (kind.type == type) {
            return &kind;
        }
    }
    return nullptr;
}

/// Appends an interface with the properties that `appendProperties` appends.
template <typename AppendProperties>
int appendInterface(sd_bus_message* message, char const* interface, AppendProperties const& appendProperties) {
    int result = sd_bus_message_open_container(message, SD_BUS_TYPE_DICT_ENTRY, "sa{sv}");
    result = result < 0 ? result : sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, interface);
    result = result < 0 ? result : sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "{sv}");
    result = result < 0 ? result : appendProperties();
    result = result < 0 ? result : sd_bus_message_close_container(message);
    return result < 0 ? result : sd_bus_message_close_container(message);
}

}  // namespace

std::unique_ptr<ServedObject> ServedObject::connect(Surroundings const& surroundings, std::string const& key,
                                                    objbus::ObjectTypeSpec type) {
    Kind const* const kind = kindOf(type);
    if (sd_bus_object_path_is_valid(pathOf(key).c_str()) == 0) {
        reportObject(key, "found a key that is too long for the bus");
        return nullptr;
    }
    Emitter emitter(surroundings.outgoing, surroundings.ground.tasks,
                    {key, pathOf(key), kind != nullptr ? kind->interface : "", ""});
    std::unique_ptr<ServedObject> object(new ServedObject(surroundings, std::move(emitter), type, kind));
    return object->connect() ? std::move(object) : nullptr;
}

bool ServedObject::connect() {
    if (kind_ == nullptr) {
        return true;
    }
    observer_ = kind_->makeObserver(emitter_);
    try {
        int const status = surroundings_.root.connectObject(key(), observer_.get(), object_);
        if (status == television::STATUS_OK) {
            return kind_->fits(object_);  // Another one may have been put there, which will be told of.
        }
        reportObject(key(), "cannot be connected to, status " + std::to_string(status));
    } catch (std::exception const& failure) {
        reportObject(key(), std::string("cannot be connected to: ") + failure.what());
    }
    return false;
}

ServedObject::~ServedObject() {
    emitter_.end();
    if (!observer_) {
        return;
    }
    try {
        surroundings_.root.disconnectObject(key(), observer_.get(), object_);
    } catch (...) {  // It is still registered.
        surroundings_.ground.stranded.push_back(std::move(observer_));
    }
}

bool ServedObject::has(std::string const& interface) const {
    return interface == OBJECT_INTERFACE || (kind_ != nullptr && interface == kind_->interface);
}

std::size_t ServedObject::sizeWithoutValue() const {
    constexpr std::size_t NAMES_BYTES = 256;  // Those of two interfaces and two properties, with their padding.
    return path().size() + NAMES_BYTES;
}

int ServedObject::appendInterfaces(sd_bus_message* message) const {
    std::vector<std::string> interfaces{OBJECT_INTERFACE};
    if (kind_ != nullptr) {
        interfaces.emplace_back(kind_->interface);
    }
    return append(message, interfaces);
}

int ServedObject::appendInterfacesAndProperties(sd_bus_message* message, std::size_t& room) {
    int result = sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "{sa{sv}}");
    result = result < 0 ? result : appendInterface(message, OBJECT_INTERFACE, [this, message] {
        return appendProperty(message, "Type", "i", static_cast<int>(type_));
    });
    if (result >= 0 && kind_ != nullptr) {
        result = appendInterface(message, kind_->interface, [this, message, &room] {
            int const appended = kind_->appendProperties(message, *object_, key(), room);
            bool const wasLeftOut = std::exchange(isLeftOut_, appended == -EMSGSIZE);
            if (isLeftOut_ && !wasLeftOut) {
                reportObject(key(), "the value is left out of the list of objects: " + reasonOf(-EMSGSIZE));
            }
            return isLeftOut_ ? 0 : appended;
        });
    }
    return result < 0 ? result : sd_bus_message_close_container(message);
}

template <typename T>
int readValue(objbus::Object& object, std::string const& key, T& value) {
    int const status = get(static_cast<typename PlainObject<T>::Type&>(object), value);
    if (status != television::STATUS_OK || wireSize(value) <= MOST_BYTES) {
        return status;
    }
    reportObject(key, "cannot be read: " + reasonOf(-EMSGSIZE));
    return television::STATUS_NOT_CARRIED;
}

template <typename T>
int writeValue(objbus::Object& object, T const& value) {
    return static_cast<typename PlainObject<T>::Type&>(object).setValue(asWritten(value));
}

template int readValue(objbus::Object&, std::string const&, int&);
template int readValue(objbus::Object&, std::string const&, long long&);
template int readValue(objbus::Object&, std::string const&, std::string&);
template int readValue(objbus::Object&, std::string const&, std::vector<int>&);
template int readValue(objbus::Object&, std::string const&, std::vector<std::string>&);
template int writeValue(objbus::Object&, int const&);
template int writeValue(objbus::Object&, long long const&);
template int writeValue(objbus::Object&, std::string const&);
template int writeValue(objbus::Object&, std::vector<int> const&);
template int writeValue(objbus::Object&, std::vector<std::string> const&);

}  // namespace bus::server
