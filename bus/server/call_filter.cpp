#include "bus/server/call_filter.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "bus/protocol/contract.h"
#include "bus/server/guarded.h"
#include "bus/server/registration.h"
#include "bus/server/report.h"

namespace bus::server {

namespace {

/// A method, or all those of an interface, that changes nothing but what is the caller's own, its iterators.
struct ReadingMethod {
    char const* interface;
    char const* name;
};

constexpr ReadingMethod READING_METHODS[] = {
    {"org.freedesktop.DBus.Peer", nullptr},
    {"org.freedesktop.DBus.Introspectable", nullptr},
    {PROPERTIES_INTERFACE, "Get"},
    {PROPERTIES_INTERFACE, "GetAll"},
    {MANAGER_INTERFACE, "GetManagedObjects"},
    {MODEL_INTERFACE, "Settle"},
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

/// Reads the user and the groups from what the bus says of a connection. Old buses do not tell the groups.
int readCredentials(sd_bus_message* reply, uid_t& user, std::vector<gid_t>& groups) {
    bool hasUser = false;
    int result = sd_bus_message_enter_container(reply, SD_BUS_TYPE_ARRAY, "{sv}");
    while (result >= 0 && (result = sd_bus_message_enter_container(reply, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0) {
        std::string name;
        result = bus::read(reply, name);
        if (result >= 0 && name == "UnixUserID") {
            result = readVariant(reply, "u", user);
            hasUser = true;
        } else if (result >= 0 && name == "UnixGroupIDs") {
            void const* numbers = nullptr;
            std::size_t size = 0;
            result = sd_bus_message_enter_container(reply, SD_BUS_TYPE_VARIANT, "au");
            result = result < 0 ? result : sd_bus_message_read_array(reply, SD_BUS_TYPE_UINT32, &numbers, &size);
            if (result >= 0) {
                auto const* const first = static_cast<std::uint32_t const*>(numbers);
                groups.assign(first, first + size / sizeof(std::uint32_t));
                result = sd_bus_message_exit_container(reply);
            }
        } else if (result >= 0) {
            result = sd_bus_message_skip(reply, "v");
        }
        result = result < 0 ? result : sd_bus_message_exit_container(reply);
    }
    return result < 0 || hasUser ? result : -ENXIO;
}

}  // namespace

CallFilter::CallFilter(sd_bus* bus, Permissions permissions) : bus_(bus), permissions_(std::move(permissions)) {
    filter_ = registered(sd_bus_add_filter, bus, handleMessage, this);
    leaving_ = registered(sd_bus_add_match, bus,
                          "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
                          "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg2=''",
                          handleLeave, this);
}

int CallFilter::handleMessage(sd_bus_message* message, void* filter, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        bool const isCall = sd_bus_message_is_method_call(message, nullptr, nullptr) > 0;
        return isCall ? static_cast<CallFilter*>(filter)->filterCall(message, error) : 0;
    });
}

int CallFilter::filterCall(sd_bus_message* call, sd_bus_error* error) {
    char const* const sender = sd_bus_message_get_sender(call);
    std::string const name = sender != nullptr ? sender : "";  // Of no connection the bus says anything.
    auto place = clients_.find(name);
    if (place == clients_.end()) {
        place = clients_.try_emplace(name, Client{*this, name}).first;
        if (int const result = requestCredentials(place->second); result < 0) {
            clients_.erase(place);
            return result;
        }
    }
    Client& client = place->second;
    if (!client.isKnown) {
        client.waiting.emplace_back(sd_bus_message_ref(call));
        return 1;
    }
    return isAllowed(client.access, call) ? 0 : refuse(client, call, error);
}

int CallFilter::requestCredentials(Client& client) {
    sd_bus_slot* slot = nullptr;
    int const result = sd_bus_call_method_async(bus_, &slot, BUS_NAME, BUS_PATH, BUS_NAME, "GetConnectionCredentials",
                                                handleCredentials, &client, "s", client.name.c_str());
    client.question.reset(slot);
    return result;
}

int CallFilter::handleCredentials(sd_bus_message* reply, void* client, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        auto& identified = *static_cast<Client*>(client);
        identified.filter.identify(identified, reply);
        return 1;
    });
}

void CallFilter::identify(Client& client, sd_bus_message* reply) {
    std::vector<gid_t> groups;
    auto const waiting = std::exchange(client.waiting, {});
    Slot const question = std::move(client.question);
    client.isKnown =
        sd_bus_message_is_method_error(reply, nullptr) == 0 && readCredentials(reply, client.user, groups) >= 0;
    if (client.isKnown) {
        client.access = permissions_.of(client.user, groups);
    }
    for (auto const& call : waiting) {
        // They are handled in their order, and before the library reads any other message.
        if (!client.isKnown || sd_bus_enqueue_for_read(bus_, call.get()) < 0) {
            sd_bus_reply_method_errorf(call.get(), SD_BUS_ERROR_ACCESS_DENIED, "the bus does not say whose call it is");
        }
    }
    if (!client.isKnown) {
        clients_.erase(clients_.find(client.name));  // The next call asks again.
    }
}

int CallFilter::refuse(Client const& client, sd_bus_message* call, sd_bus_error* error) {
    char const* const does = client.access == Access::NONE ? "is not served" : "may only read";
    std::string const what = "user " + std::to_string(client.user) + ' ' + does;
    if (refused_.insert(client.user).second) {  // Who wants no reply to a call hears nothing.
        report(what + ": " + sd_bus_message_get_member(call) + " is refused");
    }
    return sd_bus_error_set(error, SD_BUS_ERROR_ACCESS_DENIED, what.c_str());
}

int CallFilter::handleLeave(sd_bus_message* signal, void* filter, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        char const* client = nullptr;
        if (isFromBus(signal) && sd_bus_message_read_basic(signal, SD_BUS_TYPE_STRING, &client) > 0) {
            auto& clients = static_cast<CallFilter*>(filter)->clients_;
            if (auto const place = clients.find(client); place != clients.end()) {
                clients.erase(place);
            }
        }
        return 0;
    });
}

}  // namespace bus::server
