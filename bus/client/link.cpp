#include "bus/client/link.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "bus/protocol/contract.h"
#include "television/report.h"
#include "television/status.h"

namespace bus {

namespace {

constexpr std::chrono::milliseconds FIRST_DELAY{100};
constexpr std::chrono::milliseconds LAST_DELAY{400};  ///< Each attempt wakes the process up.

constexpr char OWNER_RULE[] =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='nrx.Television1'";
/// One rule for all objects: the bus limits the rules of a connection.
constexpr char MODEL_RULE[] = "type='signal',sender='nrx.Television1',path_namespace='/nrx/Television1/model'";
constexpr char DISCONNECTED_RULE[] =
    "type='signal',sender='org.freedesktop.DBus.Local',path='/org/freedesktop/DBus/Local',"
    "interface='org.freedesktop.DBus.Local',member='Disconnected'";

/// Calls from libsystemd end here, whatever is thrown: it is C, and without memory there is nothing better to do.
template <typename Body>
int guarded(Body const& body) noexcept {
    try {
        body();
    } catch (...) {
        report("memory ran out, something of the television was lost");
    }
    return 0;
}

/// What became of a message that could not be made or sent.
int statusOf(int result) {
    switch (result) {
        case -EILSEQ:
        case -EINVAL:    // The path is too long,
        case -EMSGSIZE:  // or the rest.
            return television::STATUS_NOT_CARRIED;
        case -ENOMEM:
        case -ENOBUFS:
        case -EMFILE:
        case -ENFILE:
            return television::STATUS_NO_RESOURCES;
        default:
            return television::STATUS_NO_BUS;
    }
}

}  // namespace

/// One call of a method. `arguments` and `reply` run with the mutex held, so that a caller that waits does not leave
/// meanwhile.
struct Link::Call {
    Link& link;
    Method const method;
    Caller const caller;
    Content const arguments;
    Content const reply;
    Content const late{};
    Completion const completion{};
    std::mutex mutex{};
    std::condition_variable ended{};
    bool isEnded = false;
    bool isAbandoned = false;
    int status = television::STATUS_NO_ANSWER;
    Slot slot{};  ///< The link's thread's.

    void end(int result) {
        {
            std::lock_guard const lock(mutex);
            status = result;
            isEnded = true;
            ended.notify_all();
        }
        if (completion) {
            completion(result);
        }
    }
};

Link::Link(Watcher& watcher)
    : watcher_(watcher),
      address_(addressFromEnvironment()),
      loop_(makeLoop()),
      tasks_(loop_.get()),
      retryDelay_(FIRST_DELAY),
      connectError_(-ENOTCONN) {}

Link::~Link() = default;

void Link::start() {
    thread_ = std::thread([this] { runThread(); });
}

void Link::runThread() {
    while (true) {
        runLoopOnce();
    }
}

void Link::runLoopOnce() {
    if (isReconnecting_ && std::chrono::steady_clock::now() >= nextAttempt_) {
        guarded([this] { connectBus(); });
    }
    runTimers();
    auto next = isReconnecting_ ? nextAttempt_ : Deadline::max();
    next = timers_.empty() ? next : std::min(next, timers_.begin()->first);
    std::uint64_t wait = UINT64_MAX;
    if (next != Deadline::max()) {
        auto const left = std::chrono::ceil<std::chrono::microseconds>(next - std::chrono::steady_clock::now());
        wait = static_cast<std::uint64_t>(std::max(left, std::chrono::microseconds(0)).count());
    }
    if (sd_event_run(loop_.get(), wait) < 0) {  // The kernel, or the memory, has no room: it may have later.
        std::this_thread::sleep_for(FIRST_DELAY);
    }
}

void Link::runTimers() {
    while (!timers_.empty() && timers_.begin()->first <= std::chrono::steady_clock::now()) {
        auto const due = timers_.extract(timers_.begin());
        guarded(due.mapped());
    }
}

void Link::runLater(std::chrono::milliseconds delay, std::function<void()> task) {
    timers_.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
}

void Link::connectBus() {
    scheduleReconnect();  // Unless all goes well.
    disconnectBus();
    connectError_ = bus::open(bus_, address_);
    connectError_ = connectError_ < 0 ? connectError_ : initializeBus();
    if (connectError_ >= 0) {
        isReconnecting_ = false;
    } else {
        disconnectBus();
    }
}

void Link::scheduleReconnect() {
    isReconnecting_ = true;
    nextAttempt_ = std::chrono::steady_clock::now() + retryDelay_;
    retryDelay_ = std::min(2 * retryDelay_, LAST_DELAY);
}

int Link::initializeBus() {
    sd_bus* const bus = bus_.get();
    int result = sd_bus_attach_event(bus, loop_.get(), SD_EVENT_PRIORITY_NORMAL);
    auto const keep = [this, &result](auto const& makeSlot) {
        sd_bus_slot* slot = nullptr;
        result = result < 0 ? result : makeSlot(&slot);
        slots_.emplace_back(slot);
    };
    keep([&](auto slot) { return sd_bus_add_match(bus, slot, DISCONNECTED_RULE, onDisconnected, this); });
    // The signals of the objects come here, since a handler of the rule would miss those before its reply.
    keep([&](auto slot) { return sd_bus_add_filter(bus, slot, onMessage, this); });
    // The connection fails with a rule that the bus refuses.
    keep([&](auto slot) { return sd_bus_add_match_async(bus, slot, OWNER_RULE, onNameOwnerChanged, nullptr, this); });
    keep([&](auto slot) { return sd_bus_add_match_async(bus, slot, MODEL_RULE, nullptr, nullptr, nullptr); });
    slots_.emplace_back();
    return result < 0 ? result : callBus(slots_.back(), "GetNameOwner", onNameOwner, SERVICE);
}

int Link::callBus(Slot& slot, char const* method, sd_bus_message_handler_t handler, std::string const& argument) {
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_method_call(bus_.get(), &made, BUS_NAME, BUS_PATH, BUS_NAME, method);
    Message const message(made);
    result = result < 0 ? result : sd_bus_message_append(made, "s", argument.c_str());
    if (result >= 0 && handler == onStarted) {
        result = sd_bus_message_append(made, "u", 0);
    }
    sd_bus_slot* pending = nullptr;
    result = result < 0 ? result : sd_bus_call_async(bus_.get(), &pending, made, handler, this, 0);
    slot.reset(pending);
    return result;
}

void Link::disconnectBus() {
    isOnBus_ = false;
    userSlot_.reset();
    startSlot_.reset();
    slots_.clear();
    failCalls(television::STATUS_NO_BUS);
    forgetOwner();
    bus_.reset();
}

void Link::failCalls(int status) {
    for (auto const& [key, call] : std::exchange(calls_, {})) {
        call->slot.reset();
        guarded([&ended = *call, status] { ended.end(status); });
    }
}

void Link::forgetOwner() {
    isOwnerKnown_ = false;
    isStarting_ = false;
    candidate_.clear();
    failWaiting(television::STATUS_NO_BUS);
    setOwner("");
}

void Link::setOwner(std::string owner) {
    owner.swap(owner_);
    if (!owner.empty()) {
        failCalls(television::STATUS_NO_ANSWER);  // What the earlier owner answers now is not the next one's.
        guarded([this] { watcher_.handleNameVanished(); });
    }
    if (!owner_.empty()) {
        guarded([this] { watcher_.handleNameAppeared(); });
    }
}

void Link::handleOwner(std::string const& owner) {
    isOwnerKnown_ = true;
    if (owner == (candidate_.empty() ? owner_ : candidate_)) {
        sendWaiting();
        return;
    }
    setOwner("");
    candidate_ = owner;
    if (!owner.empty() && callBus(userSlot_, "GetConnectionUnixUser", onOwnerUser, owner) < 0) {
        candidate_.clear();
        scheduleReconnect();  // Asks anew.
    }
    sendWaiting();
}

void Link::handleOwnerUser(sd_bus_message* reply) {
    std::string owner = std::exchange(candidate_, {});
    unsigned int user = 0;
    if (sd_bus_message_is_method_error(reply, SD_BUS_ERROR_NAME_HAS_NO_OWNER) != 0) {
        // The owner has gone, which the bus tells, too.
    } else if (sd_bus_message_is_method_error(reply, nullptr) != 0 || read(reply, user) < 0) {
        scheduleReconnect();  // Asks anew.
    } else if (trusted_.allows(user)) {
        setOwner(std::move(owner));
    } else {
        report((std::string(SERVICE) + " belongs to a process of user " + std::to_string(user) + ", expected " +
                trusted_.text() + ": not followed")
                   .c_str());
    }
    sendWaiting();
}

int Link::onDisconnected(sd_bus_message* /*message*/, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto& self = *static_cast<Link*>(link);
        self.isOnBus_ = false;
        self.scheduleReconnect();  // Not at once: the bus is at work.
        self.forgetOwner();
    });
}

int Link::onNameOwner(sd_bus_message* message, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto& self = *static_cast<Link*>(link);
        sd_bus_error const* const error = sd_bus_message_get_error(message);
        std::string owner;
        if ((error != nullptr || read(message, owner) < 0) &&
            sd_bus_error_has_name(error, SD_BUS_ERROR_NAME_HAS_NO_OWNER) <= 0) {
            self.scheduleReconnect();  // Asks anew.
            return;
        }
        self.retryDelay_ = FIRST_DELAY;
        self.isOnBus_ = true;
        self.handleOwner(owner);
    });
}

int Link::onNameOwnerChanged(sd_bus_message* message, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        std::string name;
        std::string before;
        std::string owner;
        if (isFromBus(message) && read(message, name) >= 0 && read(message, before) >= 0 && read(message, owner) >= 0) {
            static_cast<Link*>(link)->handleOwner(owner);
        }
    });
}

int Link::onOwnerUser(sd_bus_message* message, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] { static_cast<Link*>(link)->handleOwnerUser(message); });
}

void Link::startTelevision() {
    if (int const result = callBus(startSlot_, "StartServiceByName", onStarted, SERVICE); result < 0) {
        failWaiting(statusOf(result));
    } else {
        isStarting_ = true;
    }
}

int Link::onStarted(sd_bus_message* message, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto& self = *static_cast<Link*>(link);
        self.isStarting_ = false;
        if (sd_bus_error const* const error = sd_bus_message_get_error(message)) {
            self.failWaiting(bus::statusOf(*error));
        } else if (!self.isOwnerPending() && self.owner_.empty()) {  // It has gone again, or must not be followed.
            self.failWaiting(television::STATUS_NO_TELEVISION);
        } else {
            self.sendWaiting();
        }
    });
}

int Link::call(Method method, Deadline deadline, Content arguments, Content reply, Content late) {
    std::shared_ptr<Call> const call(
        new Call{*this, std::move(method), Caller::CLIENT, std::move(arguments), std::move(reply), std::move(late)});
    tasks_.post([this, call] { beginCall(call); });
    std::unique_lock lock(call->mutex);
    call->isAbandoned = !call->ended.wait_until(lock, deadline, [&call] { return call->isEnded; });
    return call->isAbandoned && !isOnBus_ ? static_cast<int>(television::STATUS_NO_BUS) : call->status;
}

void Link::callAsync(Method method, Caller caller, Content arguments, Content reply, Completion completion) {
    std::shared_ptr<Call> const call(
        new Call{*this, std::move(method), caller, std::move(arguments), std::move(reply), {}, std::move(completion)});
    tasks_.post([this, call] { beginCall(call); });
}

void Link::beginCall(std::shared_ptr<Call> const& call) {
    if (isReconnecting_ && call->caller == Caller::CLIENT) {
        guarded([this] { connectBus(); });
    }
    routeCall(call);
}

void Link::routeCall(std::shared_ptr<Call> const& call) {
    try {
        sendOrHoldCall(call);
    } catch (...) {  // Memory ran out.
        call->end(television::STATUS_NO_RESOURCES);
    }
}

void Link::sendOrHoldCall(std::shared_ptr<Call> const& call) {
    if (isReconnecting_) {
        int const status = statusOf(connectError_);
        call->end(status == television::STATUS_NO_RESOURCES ? status : static_cast<int>(television::STATUS_NO_BUS));
    } else if (isOwnerPending()) {
        waiting_.push_back(call);
    } else if (!owner_.empty()) {
        if (int const result = sendCall(call); result < 0) {
            call->end(statusOf(result));
        }
    } else if (call->caller == Caller::CLIENT) {
        waiting_.push_back(call);
        startTelevision();
    } else {
        call->end(television::STATUS_NO_TELEVISION);
    }
}

int Link::sendCall(std::shared_ptr<Call> const& call) {
    std::lock_guard const lock(call->mutex);
    if (call->isAbandoned) {
        return 0;
    }
    Message message;
    int result = newMethodCall(call->method, call->arguments, message);
    if (result < 0) {
        return result;
    }
    auto const place = calls_.emplace(call.get(), call).first;
    sd_bus_slot* slot = nullptr;
    result = sd_bus_call_async(bus_.get(), &slot, message.get(), onReply, call.get(), 0);
    call->slot.reset(slot);
    if (result < 0) {
        calls_.erase(place);
    }
    return result;
}

void Link::sendWaiting() {
    for (auto const& call : std::exchange(waiting_, {})) {
        guarded([&] { routeCall(call); });
    }
}

void Link::failWaiting(int status) {
    for (auto const& call : std::exchange(waiting_, {})) {
        guarded([&] { call->end(status); });
    }
}

int Link::onReply(sd_bus_message* message, void* called, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto& calls = static_cast<Call*>(called)->link.calls_;
        std::shared_ptr<Call> const call = calls.extract(static_cast<Call*>(called)).mapped();
        Slot const slot = std::move(call->slot);
        int status = television::STATUS_OK;
        if (sd_bus_error const* const error = sd_bus_message_get_error(message)) {
            status = bus::statusOf(*error);
        } else {
            std::lock_guard const lock(call->mutex);
            Content const& take = call->isAbandoned ? call->late : call->reply;
            status = catchToStatus([&] {
                int const result = take ? take(message) : 0;
                return result >= 0 ? static_cast<int>(television::STATUS_OK) : statusOfRead(result);
            });
        }
        call->end(status);
    });
}

void Link::callNoReply(Method method, Content arguments) {
    tasks_.post([this, called = std::move(method), content = std::move(arguments)] {
        guarded([&] {
            if (owner_.empty()) {
                reportFailure(called.path, called.name, television::STATUS_NO_TELEVISION);
                return;
            }
            Message message;
            int result = newMethodCall(called, content, message);
            result = result < 0 ? result : sd_bus_message_set_expect_reply(message.get(), 0);
            result = result < 0 ? result : sd_bus_send(bus_.get(), message.get(), nullptr);
            if (result < 0) {
                reportFailure(called.path, called.name, statusOf(result));
            }
        });
    });
}

int Link::newMethodCall(Method const& method, Content const& arguments, Message& message) const {
    sd_bus_message* made = nullptr;
    int const result = sd_bus_message_new_method_call(bus_.get(), &made, owner_.c_str(), method.path.c_str(),
                                                      method.interface, method.name);
    message.reset(made);
    return result < 0 || !arguments ? result : arguments(made);
}

int Link::onMessage(sd_bus_message* message, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto const& self = *static_cast<Link*>(link);
        char const* const sender = sd_bus_message_get_sender(message);
        // Anybody may send signals; the owner of the name is one.
        if (sender != nullptr && self.owner_ == sender && sd_bus_message_is_signal(message, nullptr, nullptr) > 0) {
            self.watcher_.handleSignal(message);
        }
    });
}

int statusOfRead(int result) {
    return result == -EMSGSIZE ? television::STATUS_NOT_CARRIED : television::STATUS_NOT_UNDERSTOOD;
}

void reportFailure(std::string const& what, char const* operation, int status) noexcept {
    auto const reason = [status] {
        switch (status) {
            case television::STATUS_NO_TELEVISION:
                return "there is no television";
            case television::STATUS_NOT_PUBLISHED:
            case television::STATUS_WITHDRAWN:
                return "the object was taken away";
            case television::STATUS_TOO_MANY:
                return "this process has as many as the television lets it have";
            case television::STATUS_NO_BUS:
                return "there is no bus";
            case television::STATUS_NO_ANSWER:
                return "no answer came in time, the television may still do it";
            case television::STATUS_NOT_CARRIED:
                return "the bus does not carry it";
            case television::STATUS_NOT_UNDERSTOOD:
                return "what came is not what was agreed on";
            case television::STATUS_DENIED:
                return "the bus or the television denies it";
            case television::STATUS_NO_RESOURCES:
                return "this process has no memory, thread or file descriptor left";
            default:
                return "refused";
        }
    };
    guarded([&] {
        report((what + ": " + operation + " failed, status " + std::to_string(status) + ": " + reason()).c_str());
    });
}

void report(char const* line) noexcept { television::report("BUS", line); }

}  // namespace bus
