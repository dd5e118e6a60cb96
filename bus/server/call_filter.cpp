#include "bus/server/call_filter.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <string_view>
#include <utility>

#include "bus/protocol/contract.h"
#include "bus/server/bus_slots.h"
#include "bus/server/catch_to_error.h"
#include "bus/server/report.h"

namespace bus::server {

namespace {

/// A method that changes nothing, or only the caller's own iterators. A null `name` stands for all methods of the
/// interface.
struct ReadingMethod {
    char const* interface;
    char const* name;
};

constexpr ReadingMethod READING_METHODS[] = {
    {"org.freedesktop.DBus.Peer", nullptr},
    {"org.freedesktop.DBus.Introspectable", nullptr},
    {PROPERTIES_INTERFACE, "Get"},
    {PROPERTIES_INTERFACE, "GetAll"},
    {OBJECT_MANAGER_INTERFACE, "GetManagedObjects"},
    {MODEL_INTERFACE, SYNC_METHOD},
    {TABLE_INTERFACE, "CreateIterator"},
    {TABLE_INTERFACE, "DestroyIterator"},
    {ITERATOR_INTERFACE, nullptr},
};

bool isReading(sd_bus_message* call) {
    return std::ranges::any_of(READING_METHODS, [call](auto const& each) {
        return sd_bus_message_is_method_call(call, each.interface, each.name) > 0;
    });
}

bool isAllowed(Access access, sd_bus_message* call) {
    return access == Access::ALL || (access == Access::READ && isReading(call));
}

/// Reads the user and the groups from the credentials of a connection. Old buses do not send the groups.
int readCredentials(sd_bus_message* reply, uid_t& user, std::vector<gid_t>& groups) {
    bool hasUser = false;
    NRX_TRY(readDictionary(reply, "sv", [&] {
        std::string name;
        NRX_TRY(read(reply, name));
        if (name == "UnixUserID") {
            hasUser = true;
            return readVariant(reply, "u", user);
        }
        return name == "UnixGroupIDs" ? readVariant(reply, "au", groups) : sd_bus_message_skip(reply, "v");
    }));
    return hasUser ? 0 : -ENXIO;
}

}  // namespace

CallFilter::CallFilter(sd_bus* bus, Permissions permissions) : bus_(bus), permissions_(std::move(permissions)) {
    filterSlot_ = makeSlot(sd_bus_add_filter, bus, memberHandler<&CallFilter::filterCall>, this);
    clientLeftSlot_ =
        makeSlot(sd_bus_add_match, bus, CLIENT_LEFT_RULE, memberHandler<&CallFilter::handleClientLeft>, this);
}

int CallFilter::filterCall(sd_bus_message* call, sd_bus_error* error) {
    if (sd_bus_message_is_method_call(call, nullptr, nullptr) <= 0) {
        return 0;
    }
    char const* const sender = sd_bus_message_get_sender(call);
    std::string const name = sender != nullptr ? sender : "";  // For an empty name, the bus replies with an error.
    auto position = clients_.find(name);
    if (position == clients_.end()) {
        position = clients_.try_emplace(name, Client{*this, name}).first;
        if (int const result = requestCredentials(position->second); result < 0) {
            clients_.erase(position);
            return result;
        }
    }
    Client& client = position->second;
    if (!client.hasCredentials) {
        Message held(sd_bus_message_ref(call));
        client.heldCalls.push_back(std::move(held));
        return 1;
    }
    return isAllowed(client.access, call) ? 0 : refuse(client, call, error);
}

int CallFilter::requestCredentials(Client& client) {
    return assignFromOutParameter(client.credentialsSlot, [&](auto slot) {
        return sd_bus_call_method_async(bus_, slot, BUS_NAME, BUS_PATH, BUS_NAME, "GetConnectionCredentials",
                                        handleCredentials, &client, "s", client.name.c_str());
    });
}

int CallFilter::handleCredentials(sd_bus_message* reply, void* client, sd_bus_error* error) noexcept {
    return catchToError(error, [=] {
        auto& identified = *static_cast<Client*>(client);
        identified.filter.identifyOrForgetClient(identified, reply);
        return 1;
    });
}

void CallFilter::identifyOrForgetClient(Client& client, sd_bus_message* reply) {
    std::vector<gid_t> groups;
    auto const heldCalls = std::exchange(client.heldCalls, {});
    Slot const slot = std::move(client.credentialsSlot);
    try {
        client.hasCredentials =
            sd_bus_message_is_method_error(reply, nullptr) == 0 && readCredentials(reply, client.user, groups) >= 0;
    } catch (std::bad_alloc const&) {  // The held calls are refused.
    }
    if (client.hasCredentials) {
        client.access = permissions_.of(client.user, groups);
    }
    for (auto const& call : heldCalls) {
        // sd-bus handles the held calls in their order, before it reads the next message from the socket.
        if (!client.hasCredentials || sd_bus_enqueue_for_read(bus_, call.get()) < 0) {
            sd_bus_reply_method_errorf(call.get(), SD_BUS_ERROR_ACCESS_DENIED, "the bus does not say whose call it is");
        }
    }
    if (!client.hasCredentials) {
        clients_.erase(clients_.find(client.name));  // The next call requests the credentials again.
    }
}

int CallFilter::refuse(Client const& client, sd_bus_message* call, sd_bus_error* error) {
    char const* const does = client.access == Access::NONE ? "is not served" : "may only read";
    std::string const what = "user " + std::to_string(client.user) + ' ' + does;
    // The refusal is printed in addition to the error reply, because a caller may request no reply.
    if (reportedRefusedUsers_.insert(client.user).second) {
        printError(what + ": " + sd_bus_message_get_member(call) + " is refused");
    }
    return sd_bus_error_set(error, SD_BUS_ERROR_ACCESS_DENIED, what.c_str());
}

int CallFilter::handleClientLeft(sd_bus_message* signal, sd_bus_error* /*error*/) {
    char const* name = nullptr;
    if (isFromBus(signal) && sd_bus_message_read_basic(signal, SD_BUS_TYPE_STRING, &name) > 0) {
        clients_.erase(name);
    }
    return 0;
}

}  // namespace bus::server
