#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bus/protocol/message.h"
#include "bus/server/permissions.h"

namespace bus::server {

/// Refuses calls for which a client has no permission. At a client's first call, asks the bus for the credentials of
/// the client. Until the bus replies, only the calls of this client wait. Used on the loop's thread.
class CallFilter {
public:
    /// Filters all calls from now on. Throws `std::system_error` when sd-bus refuses the handlers.
    CallFilter(sd_bus* bus, Permissions permissions);
    CallFilter(CallFilter const&) = delete;
    CallFilter& operator=(CallFilter const&) = delete;
    ~CallFilter() = default;

private:
    /// A connection that has called a method.
    struct Client {
        CallFilter& filter;
        std::string const name;
        bool hasCredentials = false;  ///< Whether the bus has sent the credentials.
        uid_t user = 0;
        Access access = Access::NONE;
        std::vector<Message> heldCalls{};  ///< Wait for the client's credentials.
        Slot credentialsSlot{};
    };

    static int handleCredentials(sd_bus_message* reply, void* client, sd_bus_error* error) noexcept;
    int handleClientLeft(sd_bus_message* signal, sd_bus_error* error);
    int filterCall(sd_bus_message* call, sd_bus_error* error);
    int requestCredentials(Client& client);
    /// Stores the credentials and lets the held calls continue. If the reply has no credentials, refuses the held calls
    /// and forgets the client.
    void identifyOrForgetClient(Client& client, sd_bus_message* reply);
    int refuse(Client const& client, sd_bus_message* call, sd_bus_error* error);

    sd_bus* const bus_;
    Permissions const permissions_;
    std::map<std::string, Client, std::less<>> clients_;  ///< By name of the connection.
    std::set<uid_t> reportedRefusedUsers_;                ///< The users of whom a refused call was reported.
    Slot filterSlot_;
    Slot clientLeftSlot_;
};

}  // namespace bus::server
