#include "bus/server/type_descriptor.h"

#include <map>
#include <vector>

#include "bus/server/catch_to_error.h"
#include "bus/server/report.h"
#include "bus/server/served_iterators.h"
#include "bus/server/served_object.h"
#include "television/kinds.h"
#include "television/status.h"

namespace bus::server {

namespace {

using television::PlainKindTraits;

/// An observer that sends its notifications as signals.
template <typename Base>
class ForwardingObserver : public Base {
public:
    explicit ForwardingObserver(SignalEmitter emitter) : emitter_(std::move(emitter)) {}

protected:
    [[nodiscard]] SignalEmitter const& emitter() const { return emitter_; }

private:
    SignalEmitter const emitter_;
};

template <typename T>
class ValueObserver;

#define NRX_FORWARD(T, OBJECT, OBSERVER, NOTIFICATION, ...)                                          \
    template <>                                                                                      \
    class ValueObserver<T> final : public ForwardingObserver<objbus::OBSERVER> {                     \
    public:                                                                                          \
        using ForwardingObserver::ForwardingObserver;                                                \
        void NOTIFICATION(std::conditional_t<std::is_arithmetic_v<T>, T, T const&> value) override { \
            emitter().emitPropertyChanged(value);                                                    \
        }                                                                                            \
    };
NRX_PLAIN_KINDS(NRX_FORWARD)
#undef NRX_FORWARD

class ActionObserver final : public ForwardingObserver<objbus::ObserverAction> {
public:
    using ForwardingObserver::ForwardingObserver;
    void notifyResult(unsigned int id, std::vector<objbus::Argument> const& results) override {
        if (!emitter().emitSignalIfWithinSizeLimit("Result", id, results)) {
            notifyExecutionError(id, television::STATUS_NOT_CARRIED);
        }
    }
    void notifyExecutionError(unsigned int id, int error) override {
        emitter().emitSignal("ExecutionError", id, error);
    }
};

class TableObserver final : public ForwardingObserver<objbus::ObserverTable> {
public:
    using ForwardingObserver::ForwardingObserver;
    void notifyUpdate(int update) override { emitter().emitSignal("Updated", update); }
};

ServedObject& objectOf(void* found) { return *static_cast<ServedObject*>(found); }

/// Reads the value of a plain object, and returns the television's status.
template <typename T>
int readValue(ServedObject const& served, T& value) {
    auto& object = served.as<typename PlainKindTraits<T>::Object>();
    int status = television::STATUS_OK;
    if constexpr (std::is_arithmetic_v<T>) {
        value = object.getValue();
    } else {
        status = object.getValue(value);
    }
    if (status == television::STATUS_OK && wireSize(value) > MAX_MESSAGE_BYTES) {
        printObjectError(served.key(), "cannot be read: " + reasonOf(-EMSGSIZE));
        return television::STATUS_NOT_CARRIED;
    }
    return status;
}

template <typename T>
T const& writeArgument(T const& value) {
    return value;
}

template <typename T>
std::map<int, T> writeArgument(std::vector<T> const& list) {
    std::map<int, T> elements;
    for (T const& element : list) {
        elements.emplace_hint(elements.end(), static_cast<int>(elements.size()), element);
    }
    return elements;
}

int getType(sd_bus* /*bus*/, char const* /*path*/, char const* /*interface*/, char const* /*property*/,
            sd_bus_message* reply, void* found, sd_bus_error* /*error*/) noexcept {
    return append(reply, static_cast<int>(objectOf(found).type()));
}

template <typename T>
int getValue(sd_bus* /*bus*/, char const* /*path*/, char const* /*interface*/, char const* /*property*/,
             sd_bus_message* reply, void* found, sd_bus_error* error) noexcept {
    return catchToError(error, [=] {
        T value{};
        int const status = readValue(objectOf(found), value);
        return status != television::STATUS_OK ? setStatusError(error, status) : append(reply, value);
    });
}

/// Writes the value. The observer emits the change.
template <typename T>
int setValue(sd_bus* /*bus*/, char const* /*path*/, char const* /*interface*/, char const* /*property*/,
             sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return catchToError(error, [=] {
        T value{};
        if (int const result = read(call, value); result < 0) {
            return setErrorIfTooLarge(error, objectOf(found).key(), result);
        }
        int const status = objectOf(found).as<typename PlainKindTraits<T>::Object>().setValue(writeArgument(value));
        return status != television::STATUS_OK ? setStatusError(error, status) : 1;
    });
}

int invoke(sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return catchToError(error, [=] {
        std::vector<objbus::Argument> arguments;
        if (int const result = read(call, arguments); result < 0) {
            return setErrorIfTooLarge(error, objectOf(found).key(), result);
        }
        unsigned int id = 0;
        int const status = objectOf(found).as<objbus::ObjectAction>().invoke(id, arguments);
        return status != television::STATUS_OK ? setStatusError(error, status)
                                               : sd_bus_reply_method_return(call, "u", id);
    });
}

int createIterator(sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return catchToError(error,
                        [=] { return objectOf(found).context().iterators.handleCreate(call, objectOf(found), error); });
}

int destroyIterator(sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return catchToError(
        error, [=] { return objectOf(found).context().iterators.handleDestroy(call, objectOf(found), error); });
}

template <typename T>
constexpr sd_bus_vtable PLAIN_VTABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_WRITABLE_PROPERTY("Value", PlainKindTraits<T>::SIGNATURE, getValue<T>, setValue<T>, 0,
                             SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE | SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

constexpr sd_bus_vtable ACTION_VTABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Invoke", "a(nnns)", SD_BUS_PARAM(arguments), "u", SD_BUS_PARAM(id), invoke,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Result", "ua(nnns)", SD_BUS_PARAM(id) SD_BUS_PARAM(results), 0),
    SD_BUS_SIGNAL_WITH_NAMES("ExecutionError", "ui", SD_BUS_PARAM(id) SD_BUS_PARAM(error), 0),
    SD_BUS_VTABLE_END,
};

constexpr sd_bus_vtable TABLE_VTABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("CreateIterator", "ia(iis)aia(ii)",
                             SD_BUS_PARAM(type) SD_BUS_PARAM(selections) SD_BUS_PARAM(columns) SD_BUS_PARAM(orders),
                             "o", SD_BUS_PARAM(iterator), createIterator, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("DestroyIterator", "o", SD_BUS_PARAM(iterator), "", "", destroyIterator,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Updated", "i", SD_BUS_PARAM(update), 0),
    SD_BUS_VTABLE_END,
};

/// `GetManagedObjects` and `InterfacesAdded` omit a value with a larger payload.
constexpr std::size_t MAX_LISTED_BYTES = std::size_t{64} * 1024;

template <typename T>
int appendValue(sd_bus_message* message, ServedObject const& object, std::size_t& remainingBytes) {
    T value{};
    try {
        if (readValue(object, value) != television::STATUS_OK || payloadSize(value) > MAX_LISTED_BYTES) {
            return 0;
        }
    } catch (...) {  // The values of the other objects can still be read.
        return 0;
    }
    if (wireSize(value) > remainingBytes) {
        return -EMSGSIZE;
    }
    remainingBytes -= wireSize(value);
    return appendProperty(message, "Value", PlainKindTraits<T>::SIGNATURE, value);
}

int appendNothing(sd_bus_message* /*message*/, ServedObject const& /*object*/, std::size_t& /*remainingBytes*/) {
    return 0;
}

template <typename Observer>
std::unique_ptr<objbus::Observer> makeObserver(SignalEmitter const& emitter) {
    return std::make_unique<Observer>(emitter);
}

template <typename Object>
bool isInstance(objbus::Object* object) {
    return dynamic_cast<Object*>(object) != nullptr;
}

template <typename T>
constexpr TypeDescriptor describePlain() {
    using Kind = PlainKindTraits<T>;
    return {Kind::TYPE,
            Kind::INTERFACE,
            PLAIN_VTABLE<T>,
            makeObserver<ValueObserver<T>>,
            isInstance<typename Kind::Object>,
            appendValue<T>};
}

constexpr TypeDescriptor DESCRIPTORS[] = {
    {objbus::OBJECT_TYPE_ACTION, ACTION_INTERFACE, ACTION_VTABLE, makeObserver<ActionObserver>,
     isInstance<objbus::ObjectAction>, appendNothing},
    {objbus::OBJECT_TYPE_TABLE, TABLE_INTERFACE, TABLE_VTABLE, makeObserver<TableObserver>,
     isInstance<objbus::ObjectTable>, appendNothing},
#define NRX_DESCRIBE(T, ...) describePlain<T>(),
    NRX_PLAIN_KINDS(NRX_DESCRIBE)
#undef NRX_DESCRIBE
};

}  // namespace

std::span<TypeDescriptor const> typesWithOwnInterface() { return DESCRIPTORS; }

sd_bus_vtable const OBJECT_VTABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Type", "i", getType, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};

}  // namespace bus::server
