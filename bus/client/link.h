#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus/client/trusted_owner.h"
#include "bus/protocol/message.h"
#include "bus/protocol/tasks.h"
#include "television/catch_to_status.h"
#include "television/status.h"

// Private to the platform library.

namespace bus {

using television::catchToStatus;

using Deadline = std::chrono::steady_clock::time_point;

/// A method of one of the television's objects.
struct Method {
    std::string path;
    char const* interface;
    char const* name;
};

/// Appends a call's arguments, or reads a reply; negative when that fails.
using Content = std::function<int(sd_bus_message* message)>;
/// Takes the status of a call that has ended.
using Completion = std::function<void(int status)>;

/// For whom a call is made: for a client, a lost bus is connected to at once and a television is started.
enum class Caller { CLIENT, PLATFORM };

/// Receives what happens on the bus, on the link's thread and with no lock held.
class Watcher {
public:
    Watcher() = default;
    Watcher(Watcher const&) = delete;
    Watcher& operator=(Watcher const&) = delete;
    /// The television that owned the name has gone.
    virtual void handleNameVanished() = 0;
    /// A television that may be followed owns the name.
    virtual void handleNameAppeared() = 0;
    /// The television sent a signal.
    virtual void handleSignal(sd_bus_message* signal) = 0;

protected:
    ~Watcher() = default;
};

/// The connection to the bus, and through it to the television, with the thread on which all messages are sent and
/// received. The thread reads whatever the observers do: they are notified on another one. A lost bus is connected to
/// again, after a pause or when a client calls. Lives as long as the process.
///
/// A television is the owner of the name nrx.Television1 if its user may be one. Nothing is sent to another owner, and
/// nothing is taken from it.
class Link {
public:
    /// Reads the environment: on the thread of the host, which may change the environment later.
    explicit Link(Watcher& watcher);
    Link(Link const&) = delete;
    Link& operator=(Link const&) = delete;
    ~Link();

    /// Starts the thread, after which the link lives on. Throws `std::system_error` if the system has no room for one.
    void start();

    /// Whether the bus answers.
    [[nodiscard]] bool isOnBus() const { return isOnBus_; }

    /// Calls the method and blocks until the reply or the deadline. A call not sent by then is never sent. Returns a
    /// status. `arguments` and `reply` run on the link's thread, and never after this has returned; a reply that comes
    /// later goes to `late`.
    int call(Method method, Deadline deadline, Content arguments, Content reply, Content late = {});

    /// Calls the method and does not wait. `completion` follows `reply`, or the failure, each on the link's thread.
    void callAsync(Method method, Caller caller, Content arguments, Content reply, Completion completion);

    /// Calls the method without a reply, and does not wait. `arguments` runs later, on the link's thread.
    void callNoReply(Method method, Content arguments);

    /// On the link's thread: runs the task there after the delay, if no time runs out before.
    void runLater(std::chrono::milliseconds delay, std::function<void()> task);

private:
    struct Call;

    void runThread();
    void runLoopOnce();
    void runTimers();
    void connectBus();
    void disconnectBus();
    int initializeBus();
    void scheduleReconnect();
    void forgetOwner();
    void handleOwner(std::string const& owner);
    void handleOwnerUser(sd_bus_message* reply);
    void setOwner(std::string owner);
    [[nodiscard]] bool isOwnerPending() const { return !isOwnerKnown_ || !candidate_.empty() || isStarting_; }
    void startTelevision();
    void beginCall(std::shared_ptr<Call> const& call);
    void routeCall(std::shared_ptr<Call> const& call);
    void sendOrHoldCall(std::shared_ptr<Call> const& call);
    int sendCall(std::shared_ptr<Call> const& call);
    void sendWaiting();
    void failWaiting(int status);
    void failCalls(int status);
    int callBus(Slot& slot, char const* method, sd_bus_message_handler_t handler, std::string const& argument);
    int newMethodCall(Method const& method, Content const& arguments, Message& message) const;

    static int onReply(sd_bus_message* message, void* called, sd_bus_error* error) noexcept;
    static int onMessage(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;
    static int onNameOwner(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;
    static int onNameOwnerChanged(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;
    static int onOwnerUser(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;
    static int onStarted(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;
    static int onDisconnected(sd_bus_message* message, void* link, sd_bus_error* error) noexcept;

    Watcher& watcher_;
    std::string const address_;
    TrustedOwner const trusted_;
    Loop const loop_;
    Tasks tasks_;
    std::atomic<bool> isOnBus_ = false;

    // Used on the link's thread alone.
    bool isReconnecting_ = true;            ///< There is no bus, or a lost one; the next attempt comes
    Deadline nextAttempt_{};                ///< then,
    std::chrono::milliseconds retryDelay_;  ///< and so long after that.
    int connectError_;                      ///< Why there is none.
    std::multimap<Deadline, std::function<void()>> timers_;
    std::map<Call const*, std::shared_ptr<Call>> calls_;  ///< Those that were sent.
    std::vector<std::shared_ptr<Call>> waiting_;          ///< Those to be sent when the owner is known.
    std::string owner_;                                   ///< The television's connection; empty while there is none.
    std::string candidate_;                               ///< The name's owner, while its user is asked for.
    bool isOwnerKnown_ = false;                           ///< The bus has answered who owns the name.
    bool isStarting_ = false;                             ///< The bus has been asked to start a television.
    Bus bus_;                                             ///< Null while there is none.
    Slot userSlot_;                                       ///< All slots go before the bus.
    Slot startSlot_;
    std::vector<Slot> slots_;

    std::thread thread_;
};

/// Writes one line to the log. Needs no memory for a short one.
void report(char const* line) noexcept;
/// The status of what could not be read, as `read` says.
int statusOfRead(int result);
/// Writes that an operation on something failed, and why.
void reportFailure(std::string const& what, char const* operation, int status) noexcept;

}  // namespace bus
