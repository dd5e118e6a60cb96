#pragma once

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bus/client/trusted_owner.h"
#include "bus/protocol/message.h"
#include "bus/protocol/task_queue.h"
#include "television/catch_to_status.h"

namespace bus {

using television::catchToStatus;

using Deadline = std::chrono::steady_clock::time_point;

/// A method of one of the television's objects.
struct Method {
    std::string path;
    char const* interface;
    char const* name;
};

/// Appends the arguments of a call, or reads a reply. Returns a negative error number on failure.
using MessageBody = std::function<int(sd_bus_message* message)>;
/// Receives the status of a call that has ended.
using Completion = std::function<void(int status)>;

/// The caller of a method. A client's call reconnects a lost bus at once, and starts the television if no process owns
/// the television's name.
enum class CallOrigin { CLIENT_REQUEST, INTERNAL };

/// Receives events of the bus, on the connection's thread and with no lock held.
class ServiceWatcher {
public:
    ServiceWatcher() = default;
    ServiceWatcher(ServiceWatcher const&) = delete;
    ServiceWatcher& operator=(ServiceWatcher const&) = delete;
    /// The television has lost the name.
    virtual void handleNameVanished() = 0;
    /// A trusted television owns the name. The connection calls this function again after an exception of this function
    /// and after a call of `repeatNameAppearedLater`.
    virtual void handleNameAppeared() = 0;
    /// The television sent a signal.
    virtual void handleSignal(sd_bus_message* signal) = 0;

protected:
    ~ServiceWatcher() = default;
};

/// The connection to the bus and to the television, with the thread that sends and receives all messages. This thread
/// never runs observers, so that a slow observer does not block messages. The thread reconnects to a lost bus after a
/// delay, or when a client calls a method. The connection lives as long as the process.
///
/// The connection accepts the owner of the name nrx.Television1 as the television only if the owner's user is trusted.
/// The connection sends nothing to an untrusted owner and ignores the messages of an untrusted owner.
class ServiceConnection {
public:
    /// Reads the environment on the caller's thread, because the host process may change the environment later.
    explicit ServiceConnection(ServiceWatcher& watcher);
    ServiceConnection(ServiceConnection const&) = delete;
    ServiceConnection& operator=(ServiceConnection const&) = delete;
    ~ServiceConnection();

    /// Starts the thread. After a start, the connection must not be destroyed. Throws `std::system_error` if the system
    /// has no resources for a thread.
    void start();

    /// Whether the bus answers.
    [[nodiscard]] bool isBusConnected() const { return isBusConnected_; }

    /// Calls the method and blocks until the reply or the deadline. A call that is not sent by the deadline is
    /// never sent. Returns a status. The connection's thread calls the functions `arguments` and `reply`, but never
    /// after this function has returned. `lateReply` reads a reply that arrives after the deadline.
    int call(Method method, Deadline deadline, MessageBody arguments, MessageBody reply, MessageBody lateReply = {});

    /// Calls the method and does not wait. The connection's thread calls `completion` after `reply` or after a failure.
    void callAsync(Method method, CallOrigin origin, MessageBody arguments, MessageBody reply, Completion completion);

    /// Sends a call that requests no reply, and does not wait. The connection's thread calls the function `arguments`
    /// and sends the call later. If the process lacks the resources to send the call and `leavesBusIfNoResources` is
    /// true, leaves the bus and connects again.
    void callNoReply(Method method, MessageBody arguments, bool leavesBusIfNoResources = false);

    /// Leaves the bus, and connects again: the television then releases all that it keeps for this process. Needs no
    /// memory.
    void leaveAndRejoinBus();

    /// Runs the task after the delay. Called on the connection's thread, which also runs the task.
    void runLater(std::chrono::milliseconds delay, std::function<void()> task);

    /// Calls the watcher's `handleNameAppeared` again after a pause, unless the television is gone by then. Needs no
    /// memory. Called on the connection's thread.
    void repeatNameAppearedLater();

private:
    struct PendingCall;

    // Functions for the thread, the bus and the name's owner, defined in service_connection.cpp.
    void runThread();
    void runLoopOnce();
    void runTimers();
    void connectBus();
    void disconnectBusAndFailCalls();
    int initializeBus();
    void scheduleReconnect();
    /// Calls a method of the bus. Passes the reply to the handler, unless the slot is destroyed before the reply
    /// arrives.
    template <void (ServiceConnection::*HANDLER)(sd_bus_message*), typename... Arguments>
    int callBusDaemon(Slot& slot, char const* method, Arguments const&... arguments);
    void handleNameOwner(std::string const& owner);
    void setOwnerAndNotifyWatcher(std::string owner);
    void clearOwnerAndFailCalls();
    void notifyWatcherNameAppeared();
    void handleDisconnected();
    /// Whether a reply of the bus about the owner is pending.
    [[nodiscard]] bool isOwnerReplyPending() const {
        return !isOwnerKnown_ || !candidateOwner_.empty() || isServiceStarting_;
    }
    void startService();

    // Functions for the calls, defined in service_calls.cpp.
    void connectIfNeededThenSendCall(std::shared_ptr<PendingCall> const& call);
    /// Calls `sendHoldOrFailCall`. If memory runs out, ends the call with `STATUS_NO_RESOURCES`.
    void sendCallCatchingExceptions(std::shared_ptr<PendingCall> const& call);
    void sendHoldOrFailCall(std::shared_ptr<PendingCall> const& call);
    int sendCall(std::shared_ptr<PendingCall> const& call);
    void retryHeldCalls();
    void failHeldCalls(int status);
    void failSentCalls(int status);
    int newMethodCall(Method const& method, MessageBody const& arguments, Message& message) const;
    static int onReply(sd_bus_message* message, void* pending, sd_bus_error* error) noexcept;

    // Handlers of messages.
    void onMessage(sd_bus_message* message);
    void onNameOwnerReply(sd_bus_message* reply);
    void onNameOwnerChanged(sd_bus_message* signal);
    void onOwnerUserReply(sd_bus_message* reply);
    void onStartServiceReply(sd_bus_message* reply);
    /// An sd-bus callback that calls `HANDLER` of the connection.
    template <void (ServiceConnection::*HANDLER)(sd_bus_message*)>
    static int dispatch(sd_bus_message* message, void* connection, sd_bus_error* error) noexcept;

    ServiceWatcher& watcher_;
    std::string const busAddress_;
    TrustedOwner const trustedOwner_;
    EventLoop const loop_;
    TaskQueue tasks_;
    std::atomic<bool> isBusConnected_ = false;
    std::atomic<bool> isLeaveRequested_ = false;

    // Only the connection's thread uses the members from here to `slots_`.
    /// If true, the connection thread connects at `nextAttempt_`, or at once for a client's call.
    bool isReconnectPending_ = true;
    Deadline nextAttempt_{};                            ///< When to reconnect.
    std::chrono::milliseconds reconnectDelay_;          ///< The delay of the next `scheduleReconnect`.
    int connectError_ = -ENOTCONN;                      ///< The error number of the last attempt.
    Deadline nextNameAppearedRetry_ = Deadline::max();  ///< When to call the watcher's `handleNameAppeared` again.
    std::multimap<Deadline, std::function<void()>> timers_;
    std::map<PendingCall const*, std::shared_ptr<PendingCall>> sentCalls_;
    std::vector<std::shared_ptr<PendingCall>> heldCalls_;  ///< The calls that wait for the replies about the owner.
    std::string owner_;                                    ///< The television's unique name, or empty.
    std::string candidateOwner_;                           ///< The name's owner until the owner's user is known.
    bool isOwnerKnown_ = false;                            ///< The bus has reported the name's owner.
    bool isServiceStarting_ = false;                       ///< The bus was asked to start the television.
    Bus bus_;                                              ///< Null while disconnected.
    Slot ownerUserSlot_;                                   ///< All slots are destroyed before the bus.
    Slot startServiceSlot_;
    std::vector<Slot> slots_;

    std::thread thread_;
};

}  // namespace bus
