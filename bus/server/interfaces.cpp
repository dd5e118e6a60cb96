#include "bus/server/interfaces.h"

#include "bus/server/guarded.h"
#include "bus/server/report.h"
#include "bus/server/served_iterator.h"
#include "bus/server/served_object.h"
#include "television/status.h"

namespace bus::server {

namespace {

ServedObject& objectIn(void* found) { return *static_cast<ServedObject*>(found); }

int getType(sd_bus* /*bus*/, char const* /*path*/, char const* /*interface*/, char const* /*property*/,
            sd_bus_message* reply, void* found, sd_bus_error* /*error*/) noexcept {
    return append(reply, static_cast<int>(objectIn(found).type()));
}

template <typename T>
int getValue(sd_bus* /*bus*/, char const* /*path*/, char const* /*interface*/, char const* /*property*/,
             sd_bus_message* reply, void* found, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        T value{};
        int const status = readValue(objectIn(found).as<objbus::Object>(), objectIn(found).key(), value);
        return status != television::STATUS_OK ? bus::refuse(error, status) : append(reply, value);
    });
}

/// The change is told when the model tells of it, as every other one.
template <typename T>
int setValue(sd_bus* /*bus*/, char const* /*path*/, char const* /*interface*/, char const* /*property*/,
             sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        T value{};
        if (int const result = bus::read(call, value); result < 0) {
            return refuseUnread(error, objectIn(found).key(), result);
        }
        int const status = writeValue(objectIn(found).as<objbus::Object>(), value);
        return status != television::STATUS_OK ? bus::refuse(error, status) : 1;
    });
}

int invoke(sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        std::vector<objbus::Argument> arguments;
        if (int const result = bus::read(call, arguments); result < 0) {
            return refuseUnread(error, objectIn(found).key(), result);
        }
        unsigned int id = 0;
        int const status = objectIn(found).as<objbus::ObjectAction>().invoke(id, arguments);
        return status != television::STATUS_OK ? bus::refuse(error, status) : sd_bus_reply_method_return(call, "u", id);
    });
}

int createIterator(sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return guarded(error,
                   [=] { return objectIn(found).surroundings().iterators.create(call, objectIn(found), error); });
}

int destroyIterator(sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return guarded(error,
                   [=] { return objectIn(found).surroundings().iterators.destroy(call, objectIn(found), error); });
}

constexpr sd_bus_vtable OBJECT_TABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Type", "i", getType, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};

template <typename T>
constexpr sd_bus_vtable PLAIN_TABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_WRITABLE_PROPERTY("Value", Plain<T>::SIGNATURE, getValue<T>, setValue<T>, 0,
                             SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE | SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

constexpr sd_bus_vtable ACTION_TABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Invoke", "a(nnns)", SD_BUS_PARAM(arguments), "u", SD_BUS_PARAM(id), invoke,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Result", "ua(nnns)", SD_BUS_PARAM(id) SD_BUS_PARAM(results), 0),
    SD_BUS_SIGNAL_WITH_NAMES("ExecutionError", "ui", SD_BUS_PARAM(id) SD_BUS_PARAM(error), 0),
    SD_BUS_VTABLE_END,
};

constexpr sd_bus_vtable TABLE_TABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("CreateIterator", "ia(iis)aia(ii)",
                             SD_BUS_PARAM(type) SD_BUS_PARAM(selections) SD_BUS_PARAM(columns) SD_BUS_PARAM(orders),
                             "o", SD_BUS_PARAM(iterator), createIterator, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("DestroyIterator", "o", SD_BUS_PARAM(iterator), "", "", destroyIterator,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Updated", "i", SD_BUS_PARAM(update), 0),
    SD_BUS_VTABLE_END,
};

template <typename T>
constexpr ObjectInterface plain() {
    return {Plain<T>::INTERFACE, PLAIN_TABLE<T>};
}

}  // namespace

ObjectInterface const OBJECT_INTERFACES[] = {
    {OBJECT_INTERFACE, OBJECT_TABLE},
    plain<int>(),
    plain<long long>(),
    plain<std::string>(),
    plain<std::vector<int>>(),
    plain<std::vector<std::string>>(),
    {ACTION_INTERFACE, ACTION_TABLE},
    {TABLE_INTERFACE, TABLE_TABLE},
    {nullptr, nullptr},
};

}  // namespace bus::server
