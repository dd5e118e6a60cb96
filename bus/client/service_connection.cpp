#include "bus/client/service_connection.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "bus/client/failure.h"
#include "bus/protocol/contract.h"
#include "television/status.h"

namespace bus {

namespace {

constexpr std::chrono::milliseconds FIRST_DELAY{100};
constexpr std::chrono::milliseconds LAST_DELAY{400};  ///< A shorter delay would wake the process more often.

constexpr char OWNER_RULE[] =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='nrx.Television1'";
/// One rule for all objects, because the bus limits the number of rules of a connection.
constexpr char MODEL_RULE[] = "type='signal',sender='nrx.Television1',path_namespace='/nrx/Television1/model'";

constexpr unsigned int NO_FLAGS = 0;  ///< The flags of `StartServiceByName`.

}  // namespace

template <void (ServiceConnection::*HANDLER)(sd_bus_message*)>
int ServiceConnection::dispatch(sd_bus_message* message, void* connection, sd_bus_error* /*error*/) noexcept {
    return runNoexcept([&] { (static_cast<ServiceConnection*>(connection)->*HANDLER)(message); });
}

template <void (ServiceConnection::*HANDLER)(sd_bus_message*), typename... Arguments>
int ServiceConnection::callBusDaemon(Slot& slot, char const* method, Arguments const&... arguments) {
    Message call;
    NRX_TRY(assignFromOutParameter(call, [&](auto made) {
        return sd_bus_message_new_method_call(bus_.get(), made, BUS_NAME, BUS_PATH, BUS_NAME, method);
    }));
    NRX_TRY(appendAll(call.get(), arguments...));
    return assignFromOutParameter(
        slot, [&](auto made) { return sd_bus_call_async(bus_.get(), made, call.get(), dispatch<HANDLER>, this, 0); });
}

ServiceConnection::ServiceConnection(ServiceWatcher& watcher)
    : watcher_(watcher),
      busAddress_(findBusAddressInEnvironment()),
      loop_(makeEventLoop()),
      tasks_(loop_.get()),
      reconnectDelay_(FIRST_DELAY) {}

ServiceConnection::~ServiceConnection() = default;

void ServiceConnection::start() {
    thread_ = std::thread([this] { runThread(); });
}

void ServiceConnection::runThread() {
    while (true) {
        runLoopOnce();
    }
}

void ServiceConnection::runLoopOnce() {
    if (isReconnectPending_ && std::chrono::steady_clock::now() >= nextAttempt_) {
        runNoexcept([this] { connectBus(); });
    }
    if (std::chrono::steady_clock::now() >= nextNameAppearedRetry_) {
        notifyWatcherNameAppeared();
    }
    runTimers();
    auto next = std::min(isReconnectPending_ ? nextAttempt_ : Deadline::max(), nextNameAppearedRetry_);
    next = timers_.empty() ? next : std::min(next, timers_.begin()->first);
    std::uint64_t wait = UINT64_MAX;
    if (next != Deadline::max()) {
        auto const left = std::chrono::ceil<std::chrono::microseconds>(next - std::chrono::steady_clock::now());
        wait = static_cast<std::uint64_t>(std::max(left, std::chrono::microseconds(0)).count());
    }
    if (sd_event_run(loop_.get(), wait) < 0) {  // The kernel or this process lacks resources for now.
        std::this_thread::sleep_for(FIRST_DELAY);
    }
    bool const isLeaving = isLeaveRequested_.exchange(false);
    // If memory runs out, sd-bus does not report the end of the connection, so the connection is checked here.
    if (!isReconnectPending_ && (isLeaving || sd_bus_is_open(bus_.get()) <= 0)) {
        handleDisconnected();
    }
}

void ServiceConnection::runTimers() {
    while (!timers_.empty() && timers_.begin()->first <= std::chrono::steady_clock::now()) {
        auto const due = timers_.extract(timers_.begin());
        runNoexcept(due.mapped());
    }
}

void ServiceConnection::runLater(std::chrono::milliseconds delay, std::function<void()> task) {
    timers_.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
}

void ServiceConnection::connectBus() {
    scheduleReconnect();  // A success below cancels the reconnect.
    disconnectBusAndFailCalls();
    connectError_ = initializeBus();
    if (connectError_ >= 0) {
        isReconnectPending_ = false;
    } else {
        disconnectBusAndFailCalls();
    }
}

void ServiceConnection::scheduleReconnect() {
    isReconnectPending_ = true;
    nextAttempt_ = std::chrono::steady_clock::now() + reconnectDelay_;
    reconnectDelay_ = std::min(2 * reconnectDelay_, LAST_DELAY);
}

int ServiceConnection::initializeBus() {
    NRX_TRY(startBusConnection(bus_, busAddress_));
    sd_bus* const bus = bus_.get();
    NRX_TRY(sd_bus_attach_event(bus, loop_.get(), SD_EVENT_PRIORITY_NORMAL));
    auto const add = [this](auto const& makeSlot) { return assignFromOutParameter(slots_.emplace_back(), makeSlot); };
    // A filter receives the objects' signals. The handler of a match rule would miss the signals that arrive before the
    // bus's reply to AddMatch.
    NRX_TRY(
        add([&](auto slot) { return sd_bus_add_filter(bus, slot, dispatch<&ServiceConnection::onMessage>, this); }));
    // The connection ends if the bus refuses one of these rules.
    NRX_TRY(add([&](auto slot) {
        return sd_bus_add_match_async(bus, slot, OWNER_RULE, dispatch<&ServiceConnection::onNameOwnerChanged>, nullptr,
                                      this);
    }));
    NRX_TRY(add([&](auto slot) { return sd_bus_add_match_async(bus, slot, MODEL_RULE, nullptr, nullptr, nullptr); }));
    return callBusDaemon<&ServiceConnection::onNameOwnerReply>(slots_.emplace_back(), "GetNameOwner", SERVICE);
}

void ServiceConnection::disconnectBusAndFailCalls() {
    isBusConnected_ = false;
    ownerUserSlot_.reset();
    startServiceSlot_.reset();
    slots_.clear();
    failSentCalls(television::STATUS_NO_BUS);
    clearOwnerAndFailCalls();
    bus_.reset();
}

void ServiceConnection::clearOwnerAndFailCalls() {
    isOwnerKnown_ = false;
    isServiceStarting_ = false;
    candidateOwner_.clear();
    failHeldCalls(television::STATUS_NO_BUS);
    setOwnerAndNotifyWatcher("");
}

void ServiceConnection::setOwnerAndNotifyWatcher(std::string owner) {
    owner.swap(owner_);
    if (!owner.empty()) {
        nextNameAppearedRetry_ = Deadline::max();
        // The watcher first cancels its resyncs. Otherwise each failed call of a resync would schedule another attempt.
        runNoexcept([this] { watcher_.handleNameVanished(); });
        failSentCalls(television::STATUS_NO_ANSWER);  // The next owner does not reply to calls to the earlier owner.
    }
    if (!owner_.empty()) {
        notifyWatcherNameAppeared();
    }
}

void ServiceConnection::notifyWatcherNameAppeared() {
    nextNameAppearedRetry_ = Deadline::max();
    try {
        watcher_.handleNameAppeared();
    } catch (...) {  // Memory ran out.
        repeatNameAppearedLater();
    }
}

void ServiceConnection::repeatNameAppearedLater() {
    nextNameAppearedRetry_ = std::chrono::steady_clock::now() + FIRST_DELAY;
}

void ServiceConnection::handleNameOwner(std::string const& owner) {
    isOwnerKnown_ = true;
    if (owner == (candidateOwner_.empty() ? owner_ : candidateOwner_)) {
        retryHeldCalls();
        return;
    }
    setOwnerAndNotifyWatcher("");
    candidateOwner_ = owner;
    if (!owner.empty() &&
        callBusDaemon<&ServiceConnection::onOwnerUserReply>(ownerUserSlot_, "GetConnectionUnixUser", owner) < 0) {
        candidateOwner_.clear();
        scheduleReconnect();  // The next connection asks for the owner and its user again.
    }
    retryHeldCalls();
}

void ServiceConnection::onOwnerUserReply(sd_bus_message* reply) {
    std::string owner = std::exchange(candidateOwner_, {});
    unsigned int user = 0;
    if (sd_bus_message_is_method_error(reply, SD_BUS_ERROR_NAME_HAS_NO_OWNER) != 0) {
        // The owner has gone. A NameOwnerChanged signal reports this too.
    } else if (sd_bus_message_is_method_error(reply, nullptr) != 0 || read(reply, user) < 0) {
        scheduleReconnect();  // The next connection asks for the owner and its user again.
    } else if (trustedOwner_.allows(user)) {
        setOwnerAndNotifyWatcher(std::move(owner));
    } else {
        logErrorLine((std::string(SERVICE) + " belongs to a process of user " + std::to_string(user) + ", expected " +
                      trustedOwner_.permittedUsers() + ": ignored")
                         .c_str());
    }
    retryHeldCalls();
}

void ServiceConnection::handleDisconnected() {
    isBusConnected_ = false;
    scheduleReconnect();
    // Called before `disconnectBusAndFailCalls`, because calls to a lost television fail with `STATUS_NO_ANSWER`.
    clearOwnerAndFailCalls();
    disconnectBusAndFailCalls();
}

void ServiceConnection::onNameOwnerReply(sd_bus_message* reply) {
    sd_bus_error const* const error = sd_bus_message_get_error(reply);
    std::string owner;
    if ((error != nullptr || read(reply, owner) < 0) &&
        sd_bus_error_has_name(error, SD_BUS_ERROR_NAME_HAS_NO_OWNER) <= 0) {
        scheduleReconnect();  // The next connection asks for the owner again.
        return;
    }
    reconnectDelay_ = FIRST_DELAY;
    isBusConnected_ = true;
    handleNameOwner(owner);
}

void ServiceConnection::onNameOwnerChanged(sd_bus_message* signal) {
    std::string name;
    std::string before;
    std::string owner;
    if (isFromBus(signal) && readAll(signal, name, before, owner) >= 0) {
        handleNameOwner(owner);
    }
}

void ServiceConnection::startService() {
    int const result = callBusDaemon<&ServiceConnection::onStartServiceReply>(startServiceSlot_, "StartServiceByName",
                                                                              SERVICE, NO_FLAGS);
    if (result < 0) {
        failHeldCalls(statusOfSendError(result));
    } else {
        isServiceStarting_ = true;
    }
}

void ServiceConnection::onStartServiceReply(sd_bus_message* reply) {
    isServiceStarting_ = false;
    sd_bus_error const* const error = sd_bus_message_get_error(reply);
    // An error is ignored if the name has an owner, because something other than the bus may start a television.
    if (isOwnerReplyPending() || !owner_.empty()) {
        retryHeldCalls();
    } else if (error != nullptr) {
        failHeldCalls(statusOfError(*error));
    } else {  // The owner has gone again, or is not trusted.
        failHeldCalls(television::STATUS_NO_TELEVISION);
    }
}

void ServiceConnection::onMessage(sd_bus_message* message) {
    char const* const sender = sd_bus_message_get_sender(message);
    // Ignores the signals of other senders, because any connection to the bus may send signals to this process.
    if (sender != nullptr && owner_ == sender && sd_bus_message_is_signal(message, nullptr, nullptr) > 0) {
        watcher_.handleSignal(message);
    }
}

}  // namespace bus
