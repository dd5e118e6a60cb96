#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bus/protocol/message.h"
#include "bus/server/permissions.h"

namespace bus::server {

/// Refuses the calls that their senders may not make. Asks the bus once for the credentials of each client; only that
/// client's calls wait meanwhile. Used on the loop's thread.
class CallFilter {
public:
    /// Filters all calls from now on. Throws `std::system_error` when sd-bus refuses the handlers.
    CallFilter(sd_bus* bus, Permissions permissions);
    CallFilter(CallFilter const&) = delete;
    CallFilter& operator=(CallFilter const&) = delete;
    ~CallFilter() = default;

private:
    /// One connection that has called.
    struct Client {
        CallFilter& filter;
        std::string const name;
        bool isKnown = false;  ///< Whether the bus has sent the credentials.
        uid_t user = 0;
        Access access = Access::NONE;
        std::vector<Message> heldCalls{};  ///< Until the client is known.
        Slot credentialsSlot{};
    };

    static int handleCredentials(sd_bus_message* reply, void* client, sd_bus_error* error) noexcept;
    int handleClientLeft(sd_bus_message* signal, sd_bus_error* error);
    int filterCall(sd_bus_message* call, sd_bus_error* error);
    int requestCredentials(Client& client);
    /// Takes the credentials, and handles the client's held calls.
    void applyCredentials(Client& client, sd_bus_message* reply);
    int refuse(Client const& client, sd_bus_message* call, sd_bus_error* error);

    sd_bus* const bus_;
    Permissions const permissions_;
    std::map<std::string, Client, std::less<>> clients_;  ///< By the names of their connections.
    std::set<uid_t> reportedUsers_;                       ///< Whose first refused call was reported.
    Slot filterSlot_;
    Slot clientLeftSlot_;
};

}  // namespace bus::server
