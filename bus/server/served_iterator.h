#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "bus/protocol/message.h"
#include "bus/server/ground.h"
#include "bus/server/served_object.h"

namespace bus::server {

class ServedIterator;

/// The iterators on the bus, each of which belongs to the client that made it. Used on the thread of the loop.
class Iterators {
public:
    static constexpr std::size_t MOST = 1000;  ///< Of one client.

    /// Throws `std::system_error` when the bus does not take them.
    Iterators(sd_bus* bus, Ground& ground);
    Iterators(Iterators const&) = delete;
    Iterators& operator=(Iterators const&) = delete;
    ~Iterators();

    /// Ends those of a table that is not there any more.
    void drop(std::string const& table);

    // Carry out the calls of these methods on a table, and return what a handler returns.
    int create(sd_bus_message* call, ServedObject const& table, sd_bus_error* error);
    int destroy(sd_bus_message* call, ServedObject const& table, sd_bus_error* error);

private:
    using All = std::map<std::string, std::unique_ptr<ServedIterator>, std::less<>>;

    void erase(All::iterator place);
    void eraseAllOf(char const* client);

    static int find(sd_bus* bus, char const* path, char const* interface, void* iterators, void** found,
                    sd_bus_error* error) noexcept;
    static int list(sd_bus* bus, char const* prefix, void* iterators, char*** nodes, sd_bus_error* error) noexcept;
    static int handleLeave(sd_bus_message* signal, void* iterators, sd_bus_error* error) noexcept;

    Ground& ground_;
    std::string const places_;                                           ///< What their paths begin with.
    All iterators_;                                                      ///< By their paths.
    std::map<std::string, std::set<std::string>, std::less<>> clients_;  ///< The paths of each client's.
    unsigned long lastNumber_ = 0;
    Slot interface_;
    Slot nodes_;
    Slot leaving_;
};

}  // namespace bus::server
