#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bus/protocol/message.h"
#include "bus/server/call_filter.h"
#include "bus/server/send_queue.h"
#include "bus/server/served_iterators.h"
#include "bus/server/served_object.h"
#include "simulator/television.h"

namespace bus::server {

/// Connects to a bus and waits until the bus answers. An empty address selects the result of
/// `findBusAddressInEnvironment`. Throws `std::runtime_error`.
Bus connectToBus(std::string const& address);

/// Serves a simulated television on a bus with the interfaces of bus/nrx.Television1.xml. The server connects observers
/// to the television's objects, as other code in the process does. Used on the loop's thread. The television and the
/// loop must outlive the server.
class Server {
public:
    /// Adds the television's objects to the bus, for the clients that have permission. Throws `std::runtime_error`.
    Server(simulator::Television& television, ServerLoop& loop, Bus connected, Permissions permissions);
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;
    /// Sends the waiting messages and releases the bus name of `requestName`.
    ~Server();

    /// Requests the name under which clients find the television. Throws `std::runtime_error`, for example if another
    /// television owns the name.
    void requestName();

    [[nodiscard]] std::size_t objectCount() const { return objects_.size(); }

    /// Runs the event loop once, and waits for an event if `waitsForEvent`. Returns false after a SIGTERM or SIGINT.
    /// Throws `std::runtime_error` if the bus is lost.
    bool runOnceUnlessTerminated(bool waitsForEvent);

    /// Returns when the signals of all changes so far are sent to the bus. Throws as `runOnceUnlessTerminated` does.
    void waitUntilSent();

private:
    static int findObject(sd_bus* bus, char const* path, char const* interface, void* server, void** found,
                          sd_bus_error* error) noexcept;
    static int findModelInterface(sd_bus* bus, char const* path, char const* interface, void* server, void** found,
                                  sd_bus_error* error) noexcept;
    static int enumerateNodes(sd_bus* bus, char const* prefix, void* server, char*** nodes,
                              sd_bus_error* error) noexcept;
    int handleSync(sd_bus_message* call, sd_bus_error* error);
    static int handleTermination(sd_event_source* source, signalfd_siginfo const* information, void* server) noexcept;

    void insertIntoObjects(std::unique_ptr<ServedObject> object);
    /// Replaces the key's served object by the model's current object.
    void replaceServedObject(std::string const& key);
    void replaceAllServedObjects();
    /// Replaces all objects if a replacement ran out of memory.
    void retryFailedReplacement();
    /// Runs the replacement. If memory runs out, `retryFailedReplacement` replaces all objects later. Any thread may
    /// call `replaceOrRetryLater`.
    template <typename Replacement>
    void replaceOrRetryLater(Replacement const& replacement) noexcept;
    int handleGetManagedObjects(sd_bus_message* call, sd_bus_error* error);
    /// Sends a signal of the object manager about the object.
    template <typename AppendContents>
    void emitManagerSignal(ServedObject const& object, char const* member, AppendContents const& appendContents);
    /// Returns when the signals of all changes so far are in the send queue. Throws as `runOnceUnlessTerminated` does.
    void waitUntilSignalsQueued();
    void throwIfBusLost() const;
    /// Runs the event loop once, then handles at most one message of the bus. If memory runs out, at most this message
    /// is lost.
    void runLoopAndProcessOneMessage(bool waitsForEvent);
    void addBusSocketSource();
    [[nodiscard]] EventSource addTerminationSource(int signal);

    simulator::Television& television_;
    ServerLoop& loop_;
    Bus const bus_;
    CallFilter callFilter_;
    SendQueue sendQueue_;
    bool isTerminating_ = false;
    /// If true, the next `runLoopAndProcessOneMessage` does not wait, because the last one ran out of memory.
    bool isNextWaitSkipped_ = false;
    std::atomic<bool> isReplacementFailed_ = false;
    std::optional<ServedIterators> iterators_;
    std::optional<ObjectContext> context_;
    std::map<std::string, std::unique_ptr<ServedObject>, std::less<>> objects_;  ///< By their paths.
    EventSource busSource_;
    std::vector<Slot> slots_;
    std::vector<EventSource> terminationSources_;
};

}  // namespace bus::server
