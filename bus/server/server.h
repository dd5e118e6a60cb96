#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bus/protocol/message.h"
#include "bus/server/call_filter.h"
#include "bus/server/ground.h"
#include "bus/server/outgoing.h"
#include "bus/server/served_iterator.h"
#include "bus/server/served_object.h"
#include "simulator/television.h"

namespace bus::server {

/// A bus that answers, found as `open` does. Throws `std::runtime_error`.
Bus connectedBus(std::string const& address);

/// A simulated television on a bus, as bus/nrx.Television1.xml says. A client of the television, which outlives it; so
/// does the ground. Used on the thread that runs the ground's loop.
class Server {
public:
    /// Places the television's objects on the bus, for those who may use them. Throws `std::runtime_error`.
    Server(simulator::Television& television, Ground& ground, Bus connected, Permissions permissions);
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;
    /// Sends what is to be sent, and gives the name back.
    ~Server();

    /// Takes the name under which clients find the television. Throws `std::runtime_error`, also when it is taken.
    void requestName();

    [[nodiscard]] std::size_t objects() const { return objects_.size(); }

    /// Does what is due, or one thing that is, and waits for it when `waits`. Returns false when the program was told
    /// to end. Throws `std::runtime_error` when the bus is lost.
    bool turn(bool waits);

    /// Returns when the changes so far were sent to the bus.
    void waitUntilSent();

private:
    static int find(sd_bus* bus, char const* path, char const* interface, void* server, void** found,
                    sd_bus_error* error) noexcept;
    static int findModel(sd_bus* bus, char const* path, char const* interface, void* server, void** found,
                         sd_bus_error* error) noexcept;
    static int list(sd_bus* bus, char const* prefix, void* server, char*** nodes, sd_bus_error* error) noexcept;
    static int settle(sd_bus_message* call, void* server, sd_bus_error* error) noexcept;
    static int handleModelCall(sd_bus_message* call, void* server, sd_bus_error* error) noexcept;
    static int handleSignal(sd_event_source* source, signalfd_siginfo const* information, void* server) noexcept;

    void place(std::unique_ptr<ServedObject> object);
    /// Takes away what stands on the bus for the key, and places what stands in the model.
    void replace(std::string const& key);
    int replyWithObjects(sd_bus_message* call, sd_bus_error* error);
    /// Sends a signal about the object, with what is appended of it.
    template <typename Append>
    void tell(ServedObject const& object, char const* member, Append const& append);
    /// Returns when the signals of the changes so far are in the bus's queue. Throws as `turn` does.
    void runTasks();
    void expectBus() const;
    [[nodiscard]] Source endingOn(int signal);

    simulator::Television& television_;
    Ground& ground_;
    Bus const bus_;
    CallFilter filter_;
    Outgoing outgoing_;
    bool ended_ = false;
    std::optional<Iterators> iterators_;
    std::optional<Surroundings> surroundings_;
    std::map<std::string, std::unique_ptr<ServedObject>, std::less<>> objects_;  ///< By their paths.
    std::vector<Slot> slots_;
    std::vector<Source> signals_;
};

}  // namespace bus::server
