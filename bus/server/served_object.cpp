#include "bus/server/served_object.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "bus/server/report.h"
#include "television/status.h"

namespace bus::server {

namespace {

TypeDescriptor const* findDescriptor(objbus::ObjectTypeSpec type) {
    auto const descriptors = typesWithOwnInterface();
    auto const found = std::ranges::find(descriptors, type, &TypeDescriptor::type);
    return found != descriptors.end() ? &*found : nullptr;
}

/// Appends an interface with the properties that `appendProperties` appends.
template <typename AppendProperties>
int appendInterface(sd_bus_message* message, char const* interface, AppendProperties const& appendProperties) {
    return appendContainer(message, SD_BUS_TYPE_DICT_ENTRY, "sa{sv}", [&] {
        NRX_TRY(sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, interface));
        return appendContainer(message, SD_BUS_TYPE_ARRAY, "{sv}", appendProperties);
    });
}

}  // namespace

std::unique_ptr<ServedObject> ServedObject::connect(ObjectContext const& context, std::string const& key,
                                                    objbus::ObjectTypeSpec type) {
    TypeDescriptor const* const descriptor = findDescriptor(type);
    if (sd_bus_object_path_is_valid(pathOf(key).c_str()) == 0) {
        printObjectError(key, "found a key that is too long for the bus");
        return nullptr;
    }
    SignalEmitter emitter(context.sendQueue, context.loop.tasks,
                          {key, pathOf(key), descriptor != nullptr ? descriptor->interface : "", ""});
    std::unique_ptr<ServedObject> object(new ServedObject(context, std::move(emitter), type, descriptor));
    return object->connectObserver() ? std::move(object) : nullptr;
}

bool ServedObject::connectObserver() {
    if (descriptor_ == nullptr) {
        return true;
    }
    ownObserver_.push_back(descriptor_->makeObserver(emitter_));
    try {
        int const status = context_.rootInterface.connectObject(key(), ownObserver_.front().get(), object_);
        if (status == television::STATUS_OK) {
            return descriptor_->isInstance(object_);  // The key may have an object of another type now.
        }
        printObjectError(key(), "cannot be connected to, status " + std::to_string(status));
    } catch (std::bad_alloc const&) {  // The server tries again.
        throw;
    } catch (std::exception const& failure) {
        printObjectError(key(), std::string("cannot be connected to: ") + failure.what());
    }
    return false;
}

ServedObject::~ServedObject() {
    emitter_.stopEmitting();
    if (ownObserver_.empty()) {
        return;
    }
    try {
        context_.rootInterface.disconnectObject(key(), ownObserver_.front().get(), object_);
    } catch (...) {  // The observer is still registered.
        context_.loop.observersWithFailedDisconnect.splice(context_.loop.observersWithFailedDisconnect.end(),
                                                           ownObserver_);
    }
}

bool ServedObject::hasInterface(std::string const& interface) const {
    return interface == OBJECT_INTERFACE || (descriptor_ != nullptr && interface == descriptor_->interface);
}

std::size_t ServedObject::managedObjectsEntryBytesWithoutValue() const {
    constexpr std::size_t NAMES_BYTES = 256;  // The names of two interfaces and two properties, with their padding.
    return path().size() + NAMES_BYTES;
}

int ServedObject::appendInterfaces(sd_bus_message* message) const {
    std::vector<std::string> interfaces{OBJECT_INTERFACE};
    if (descriptor_ != nullptr) {
        interfaces.emplace_back(descriptor_->interface);
    }
    return append(message, interfaces);
}

int ServedObject::appendInterfacesAndProperties(sd_bus_message* message, std::size_t& remainingBytes) {
    return appendContainer(message, SD_BUS_TYPE_ARRAY, "{sa{sv}}", [&] {
        NRX_TRY(appendInterface(message, OBJECT_INTERFACE,
                                [&] { return appendProperty(message, "Type", "i", static_cast<int>(type_)); }));
        return descriptor_ == nullptr ? 0 : appendInterface(message, descriptor_->interface, [&] {
            int const result = descriptor_->appendProperties(message, *this, remainingBytes);
            bool const wasOmitted = std::exchange(isValueOmissionReported_, result == -EMSGSIZE);
            if (isValueOmissionReported_ && !wasOmitted) {
                printObjectError(key(), "the value is left out of the list of objects: " + reasonOf(result));
            }
            return isValueOmissionReported_ ? 0 : result;
        });
    });
}

}  // namespace bus::server
