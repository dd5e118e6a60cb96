#include "bus/bus_platform.h"

#include "bus/client/model.h"
#include "bus/protocol/contract.h"

namespace bus {

namespace {

/// Calls `read` in each entry of a dictionary, of which it leaves nothing.
template <typename Read>
int readEntries(sd_bus_message* message, char const* entry, Read const& read) {
    std::string const contents = "{" + std::string(entry) + "}";
    int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, contents.c_str());
    while (result >= 0 && sd_bus_message_at_end(message, 0) == 0) {
        result = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, entry);
        result = result < 0 ? result : read();
        result = result < 0 ? result : sd_bus_message_exit_container(message);
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

/// Reads the interfaces of one object; the type is set when it is told.
int readInterfaces(sd_bus_message* message, std::optional<int>& type) {
    std::string interface;
    std::string property;
    auto const readProperty = [&] {
        int const result = read(message, property);
        if (result < 0 || interface != OBJECT_INTERFACE || property != "Type") {
            return result < 0 ? result : sd_bus_message_skip(message, "v");
        }
        return readVariant(message, "i", type.emplace());
    };
    return readEntries(message, "sa{sv}", [&] {
        int const result = read(message, interface);
        return result < 0 ? result : readEntries(message, "sv", readProperty);
    });
}

}  // namespace

int listObjects(std::map<std::string, objbus::ObjectTypeSpec>& objects) {
    auto const answer = [&objects](sd_bus_message* message) {
        std::map<std::string, objbus::ObjectTypeSpec> listed;
        int const result = readEntries(message, "oa{sa{sv}}", [&] {
            char const* path = nullptr;
            std::optional<int> type;
            int step = sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path);
            step = step < 0 ? step : readInterfaces(message, type);
            if (auto const key = step < 0 ? std::nullopt : keyOf(path); key && type) {
                listed.emplace(*key, static_cast<objbus::ObjectTypeSpec>(*type));
            }
            return step;
        });
        if (result >= 0) {
            objects.swap(listed);
        }
        return result;
    };
    return catchToStatus([&] {
        Link& link = Model::get().link;
        return link.call({MODEL_PATH, MANAGER_INTERFACE, "GetManagedObjects"}, deadlineAfter(CALL_TIMEOUT), {}, answer);
    });
}

int waitUntilDelivered() {
    return catchToStatus([] {
        Model& model = Model::get();
        int const status =
            model.link.call({MODEL_PATH, MODEL_INTERFACE, "Settle"}, deadlineAfter(CALL_TIMEOUT), {}, {});
        model.delivery.waitUntilDone();
        return status;
    });
}

}  // namespace bus
