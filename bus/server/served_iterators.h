#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "bus/protocol/message.h"
#include "bus/server/served_object.h"
#include "bus/server/server_loop.h"

namespace bus::server {

class ServedIterator;

/// The iterators on the bus. Only the client that created an iterator may call the iterator. Used on the loop's thread.
class ServedIterators {
public:
    static constexpr std::size_t MAX_PER_CLIENT = 1000;

    /// Throws `std::system_error` when sd-bus refuses the handlers.
    ServedIterators(sd_bus* bus, ServerLoop& loop);
    ServedIterators(ServedIterators const&) = delete;
    ServedIterators& operator=(ServedIterators const&) = delete;
    ~ServedIterators();

    /// Destroys the iterators of a table that is withdrawn.
    void eraseTable(std::string const& key);

    // Handle calls of CreateIterator and DestroyIterator on a table. Return the result of an sd-bus handler.
    int handleCreate(sd_bus_message* call, ServedObject const& table, sd_bus_error* error);
    int handleDestroy(sd_bus_message* call, ServedObject const& table, sd_bus_error* error);

private:
    using IteratorMap = std::map<std::string, std::unique_ptr<ServedIterator>, std::less<>>;

    void erase(IteratorMap::iterator position);
    void eraseClient(char const* client);

    static int findIterator(sd_bus* bus, char const* path, char const* interface, void* iterators, void** found,
                            sd_bus_error* error) noexcept;
    static int enumerateNodes(sd_bus* bus, char const* prefix, void* iterators, char*** nodes,
                              sd_bus_error* error) noexcept;
    int handleClientLeft(sd_bus_message* signal, sd_bus_error* error);

    ServerLoop& loop_;
    std::string const pathPrefix_;
    IteratorMap iterators_;                                                  ///< By their paths.
    std::map<std::string, std::set<std::string>, std::less<>> clientPaths_;  ///< The paths of each client's iterators.
    unsigned long lastNumber_ = 0;
    Slot interfaceSlot_;
    Slot nodesSlot_;
    Slot clientLeftSlot_;
};

}  // namespace bus::server
