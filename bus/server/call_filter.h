#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bus/protocol/message.h"
#include "bus/server/permissions.h"

namespace bus::server {

/// Refuses the calls that their senders may not make. The bus says once for each connection whose it is; the calls
/// that come meanwhile wait, and nobody else's do. Used on the thread of the loop.
class CallFilter {
public:
    /// From now on no call is handled that is not allowed. Throws `std::system_error` when the bus refuses that.
    CallFilter(sd_bus* bus, Permissions permissions);
    CallFilter(CallFilter const&) = delete;
    CallFilter& operator=(CallFilter const&) = delete;
    ~CallFilter() = default;

private:
    /// One connection that has called.
    struct Client {
        CallFilter& filter;
        std::string const name;
        bool isKnown = false;  ///< Whether the bus has said whose it is.
        uid_t user = 0;
        Access access = Access::NONE;
        std::vector<Message> waiting{};  ///< Until it is known.
        Slot question{};
    };

    static int handleMessage(sd_bus_message* message, void* filter, sd_bus_error* error) noexcept;
    static int handleCredentials(sd_bus_message* reply, void* client, sd_bus_error* error) noexcept;
    static int handleLeave(sd_bus_message* signal, void* filter, sd_bus_error* error) noexcept;

    int filterCall(sd_bus_message* call, sd_bus_error* error);
    int requestCredentials(Client& client);
    /// Takes what the bus says of the client, and lets the calls come that wait for it.
    void identify(Client& client, sd_bus_message* reply);
    int refuse(Client const& client, sd_bus_message* call, sd_bus_error* error);

    sd_bus* const bus_;
    Permissions const permissions_;
    std::map<std::string, Client, std::less<>> clients_;  ///< By the names of their connections.
    std::set<uid_t> refused_;                             ///< The users of whom it has been said.
    Slot filter_;
    Slot leaving_;
};

}  // namespace bus::server
