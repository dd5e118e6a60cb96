#include "bus/bus_platform.h"

#include <utility>

#include "bus/client/remote_model.h"
#include "bus/protocol/contract.h"

namespace bus {

namespace {

/// Reads the interfaces and properties of one object. Sets `type` if the object has the `Type` property.
int readInterfaces(sd_bus_message* message, std::optional<int>& type) {
    return readDictionary(message, "sa{sv}", [&] {
        std::string interface;
        NRX_TRY(read(message, interface));
        return readDictionary(message, "sv", [&] {
            std::string property;
            NRX_TRY(read(message, property));
            bool const isType = interface == OBJECT_INTERFACE && property == "Type";
            return isType ? readVariant(message, "i", type.emplace()) : sd_bus_message_skip(message, "v");
        });
    });
}

int readObjects(sd_bus_message* message, std::map<std::string, objbus::ObjectTypeSpec>& objects) {
    return readDictionary(message, "oa{sa{sv}}", [&] {
        char const* path = nullptr;
        std::optional<int> type;
        NRX_TRY(sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path));
        NRX_TRY(readInterfaces(message, type));
        if (auto const key = keyOf(path); key && type) {
            objects.emplace(*key, static_cast<objbus::ObjectTypeSpec>(*type));
        }
        return 0;
    });
}

}  // namespace

int listObjects(std::map<std::string, objbus::ObjectTypeSpec>& objects) {
    auto const reply = [&objects](sd_bus_message* message) {
        std::map<std::string, objbus::ObjectTypeSpec> listed;
        NRX_TRY(readObjects(message, listed));
        objects.swap(listed);
        return 0;
    };
    return catchToStatus([&] {
        return RemoteModel::get().connection.call({MODEL_PATH, OBJECT_MANAGER_INTERFACE, "GetManagedObjects"},
                                                  deadlineAfter(CALL_TIMEOUT), {}, reply);
    });
}

television::Presence presence() {
    auto presence = television::Presence::gone;
    catchToStatus([&presence] {
        presence = RemoteModel::get().televisionPresence.presence();
        return television::STATUS_OK;
    });
    return presence;
}

int setPresenceListener(television::PresenceListener listener) {
    return catchToStatus([&listener] {
        RemoteModel::get().televisionPresence.setListener(std::move(listener));
        return television::STATUS_OK;
    });
}

int waitUntilDelivered() {
    return catchToStatus([] {
        RemoteModel& model = RemoteModel::get();
        int const status =
            model.connection.call({MODEL_PATH, MODEL_INTERFACE, SYNC_METHOD}, deadlineAfter(CALL_TIMEOUT), {}, {});
        model.delivery.waitUntilPostedAreDelivered();
        return status;
    });
}

}  // namespace bus
