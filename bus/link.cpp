#include "bus/link.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "base_utils/debug_log.h"
#include "bus/contract.h"
#include "television/status.h"

namespace bus {

namespace {

constexpr std::chrono::milliseconds FIRST_PAUSE{100};
constexpr std::chrono::milliseconds LAST_PAUSE{400};  ///< While there is no bus, it wakes the process up.
constexpr std::uint32_t SEVERITY_ERROR = 1000;

constexpr char OWNER_RULE[] =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='nrx.Television1'";
constexpr char LOST_RULE[] =
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

/// Which signals the bus is asked for.
std::string ruleOf(std::string const& path) {
    return "type='signal',sender='" + std::string(SERVICE) + "',path='" + path + "'";
}

/// What became of a message that could not be made or sent.
int statusOf(int result) {
    switch (result) {
        case -EILSEQ:
        case -EINVAL:    // The path is too long,
        case -EMSGSIZE:  // or the rest.
            return television::STATUS_NOT_CARRIED;
        case -ENOMEM:
            return television::STATUS_NO_MEMORY;
        default:
            return television::STATUS_NO_BUS;
    }
}

}  // namespace

/// One call of a method. The functions of a caller that waits are called with the mutex held, so that it does not leave
/// meanwhile.
struct Link::Call {
    Link& link;
    Method const method;
    Content const arguments;
    Content const answer;
    Content const late{};
    std::function<void(int status)> const then{};
    std::mutex mutex{};
    std::condition_variable ended{};
    bool isEnded = false;
    bool isAbandoned = false;
    int status = television::STATUS_NO_ANSWER;
    Slot slot{};  ///< The link's thread's.

    void end(int result) {
        status = result;
        isEnded = true;
        ended.notify_all();
        if (then) {
            then(status);
        }
    }
};

Link::Link(Watcher& watcher) : watcher_(watcher), loop_(makeLoop()), tasks_(loop_.get()), pause_(FIRST_PAUSE) {}

Link::~Link() = default;

void Link::begin() {
    for (std::thread& thread : threads_) {
        thread = std::thread([this] { run(); });
    }
}

void Link::run() {
    std::unique_lock lock(turns_);
    while (true) {
        needed_.wait(lock, [this] { return !isTurning_ && (!isTelling_ || isNeeded_); });
        isTurning_ = true;
        lock.unlock();
        turn();
        lock.lock();
        isTurning_ = false;
        if (isTelling_ || !watcher_.hasNews()) {
            continue;
        }
        isTelling_ = true;
        isNeeded_ = !calls_.empty() || tasks_.isDue();  // Who waits already does not wait for those who are told.
        if (isNeeded_) {
            needed_.notify_one();
        }
        do {
            lock.unlock();
            watcher_.tellNews();
            lock.lock();
        } while (watcher_.hasNews());  // With the mutex held: what the other thread brought is left to this one.
        isTelling_ = false;
    }
}

void Link::turn() {
    if (isSeeking_ && std::chrono::steady_clock::now() >= nextLook_) {
        guarded([this] { open(); });
    }
    auto const left = std::chrono::ceil<std::chrono::microseconds>(nextLook_ - std::chrono::steady_clock::now());
    auto const wait =
        isSeeking_ ? static_cast<std::uint64_t>(std::max(left, std::chrono::microseconds(0)).count()) : UINT64_MAX;
    if (sd_event_run(loop_.get(), wait) < 0) {  // The kernel, or the memory, has no room: it may have later.
        std::this_thread::sleep_for(FIRST_PAUSE);
    }
}

void Link::post(std::function<void()> task) {
    tasks_.post(std::move(task));
    std::lock_guard const lock(turns_);
    if (!isTurning_) {
        isNeeded_ = true;
        needed_.notify_one();
    }
}

void Link::open() {
    retryLater();  // Unless all goes well.
    close();
    if (bus::open(bus_, "") >= 0 && prepare() >= 0) {
        isSeeking_ = false;
    } else {
        close();
    }
}

void Link::retryLater() {
    isSeeking_ = true;
    nextLook_ = std::chrono::steady_clock::now() + pause_;
    pause_ = std::min(2 * pause_, LAST_PAUSE);
}

int Link::prepare() {
    sd_bus* const bus = bus_.get();
    int result = sd_bus_attach_event(bus, loop_.get(), SD_EVENT_PRIORITY_NORMAL);
    auto const keep = [this, &result](auto const& makeSlot) {
        sd_bus_slot* slot = nullptr;
        result = result < 0 ? result : makeSlot(&slot);
        slots_.emplace_back(slot);
    };
    keep([&](auto slot) { return sd_bus_add_match(bus, slot, LOST_RULE, onLost, this); });
    keep([&](auto slot) { return sd_bus_add_filter(bus, slot, onMessage, this); });
    keep([&](auto slot) { return sd_bus_add_match_async(bus, slot, OWNER_RULE, onOwnerChanged, nullptr, this); });
    keep([&](auto slot) {
        return sd_bus_call_method_async(bus, slot, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                        "org.freedesktop.DBus", "GetNameOwner", onOwner, this, "s", SERVICE);
    });
    for (auto& [path, heard] : heard_) {
        subscribe(path, heard);
    }
    return result;
}

void Link::close() {
    slots_.clear();
    for (auto& [path, heard] : heard_) {
        heard.asking.reset();
    }
    for (auto const& [key, call] : std::exchange(calls_, {})) {
        std::lock_guard const lock(call->mutex);
        call->slot.reset();
        guarded([&ended = *call] { ended.end(television::STATUS_NO_BUS); });
    }
    follow("");
    bus_.reset();
}

void Link::follow(std::string owner) {
    if (owner == owner_) {
        return;
    }
    owner.swap(owner_);
    if (!owner.empty()) {
        guarded([this] { watcher_.handleGone(); });
    }
    if (!owner_.empty()) {
        guarded([this] { watcher_.handleBack(); });
    }
}

int Link::onLost(sd_bus_message* /*message*/, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto& self = *static_cast<Link*>(link);
        self.retryLater();  // Not at once: the bus is at work.
        self.follow("");
    });
}

int Link::onOwner(sd_bus_message* message, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto& self = *static_cast<Link*>(link);
        sd_bus_error const* const error = sd_bus_message_get_error(message);
        if (std::string owner; error == nullptr && read(message, owner) >= 0) {
            self.follow(owner);
        } else if (sd_bus_error_has_name(error, SD_BUS_ERROR_NAME_HAS_NO_OWNER) <= 0) {
            return;  // The bus goes.
        }
        self.pause_ = FIRST_PAUSE;
        std::lock_guard const lock(self.mutex_);
        self.reached_ = true;
        self.reachedNow_.notify_all();
    });
}

int Link::onOwnerChanged(sd_bus_message* message, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        std::string name;
        std::string before;
        std::string owner;
        // The rule does not keep out what another connection sends to this one alone.
        char const* const sender = sd_bus_message_get_sender(message);
        if (sender == nullptr || sender != std::string_view("org.freedesktop.DBus")) {
            return;
        }
        if (read(message, name) >= 0 && read(message, before) >= 0 && read(message, owner) >= 0) {
            static_cast<Link*>(link)->follow(owner);
        }
    });
}

bool Link::reached(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    return reachedNow_.wait_until(lock, std::chrono::steady_clock::now() + patience, [this] { return reached_; });
}

int Link::ask(Method method, Deadline deadline, Content arguments, Content answer, Content late) {
    std::shared_ptr<Call> const call(
        new Call{*this, std::move(method), std::move(arguments), std::move(answer), std::move(late)});
    post([this, call] { start(call); });
    std::unique_lock lock(call->mutex);
    call->isAbandoned = !call->ended.wait_until(lock, deadline, [&call] { return call->isEnded; });
    return call->status;
}

void Link::request(Method method, Content arguments, Content answer, std::function<void(int status)> then) {
    std::shared_ptr<Call> const call(
        new Call{*this, std::move(method), std::move(arguments), std::move(answer), {}, std::move(then)});
    post([this, call] { start(call); });
}

void Link::start(std::shared_ptr<Call> const& call) {
    std::lock_guard const lock(call->mutex);
    if (call->isAbandoned) {
        return;
    }
    Message message;
    int result = make(call->method, call->arguments, message);
    if (result >= 0 && call->then) {  // Nobody outside asks: no television is to be started for it.
        result = sd_bus_message_set_auto_start(message.get(), 0);
    }
    if (result >= 0) {
        auto const place = calls_.emplace(call.get(), call).first;
        sd_bus_slot* slot = nullptr;
        result = sd_bus_call_async(bus_.get(), &slot, message.get(), onAnswer, call.get(), 0);
        call->slot.reset(slot);
        if (result >= 0) {
            return;
        }
        calls_.erase(place);
    }
    call->end(statusOf(result));
}

int Link::onAnswer(sd_bus_message* message, void* asked, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto& calls = static_cast<Call*>(asked)->link.calls_;
        std::shared_ptr<Call> const call = calls.extract(static_cast<Call*>(asked)).mapped();
        std::lock_guard const lock(call->mutex);
        Slot const slot = std::move(call->slot);
        if (sd_bus_error const* const error = sd_bus_message_get_error(message)) {
            call->end(bus::statusOf(*error));
        } else if (!call->isAbandoned) {
            bool const understood = !call->answer || call->answer(message) >= 0;
            call->end(understood ? television::STATUS_OK : television::STATUS_NOT_UNDERSTOOD);
        } else if (call->late) {
            call->late(message);
        }
    });
}

void Link::tell(Method method, Content arguments) {
    post([this, told = std::move(method), content = std::move(arguments)] {
        guarded([&] {
            Message message;
            int result = make(told, content, message);
            result = result < 0 ? result : sd_bus_message_set_expect_reply(message.get(), 0);
            result = result < 0 ? result : sd_bus_message_set_auto_start(message.get(), 0);
            result = result < 0 ? result : sd_bus_send(bus_.get(), message.get(), nullptr);
            if (result < 0) {
                reportFailure(told.path, told.name, statusOf(result));
            }
        });
    });
}

int Link::make(Method const& method, Content const& arguments, Message& message) const {
    if (!bus_) {
        return -ENOTCONN;
    }
    sd_bus_message* made = nullptr;
    int const result =
        sd_bus_message_new_method_call(bus_.get(), &made, SERVICE, method.path.c_str(), method.interface, method.name);
    message.reset(made);
    return result < 0 || !arguments ? result : arguments(made);
}

void Link::listen(std::string const& path, std::shared_ptr<Listener> listener) {
    post([this, path, listener = std::move(listener)] { place(path, listener, false); });
}

void Link::listenAlone(std::string const& path, std::shared_ptr<Listener> listener) {
    post([this, path, listener = std::move(listener)] { place(path, listener, true); });
}

void Link::place(std::string const& path, std::shared_ptr<Listener> listener, bool alone) {
    Heard& heard = heard_[path];
    heard.listener = std::move(listener);
    heard.isAlone = alone;
    subscribe(path, heard);
}

void Link::subscribe(std::string const& path, Heard& heard) {
    if (heard.isAlone || !bus_) {
        return;
    }
    sd_bus_slot* slot = nullptr;
    heard.isRefused = sd_bus_call_method_async(bus_.get(), &slot, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                               "org.freedesktop.DBus", "AddMatch", onListening, &heard, "s",
                                               ruleOf(path).c_str()) < 0;
    heard.asking.reset(slot);
}

void Link::forget(std::string const& path) {
    post([this, path] {
        auto const found = heard_.find(path);
        if (found == heard_.end()) {
            return;
        }
        if (!found->second.isAlone && bus_) {
            sd_bus_call_method_async(bus_.get(), nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                     "org.freedesktop.DBus", "RemoveMatch", nullptr, nullptr, "s",
                                     ruleOf(path).c_str());
        }
        heard_.erase(found);
    });
}

bool Link::refused(std::string const& path) const {
    auto const found = heard_.find(path);
    return found == heard_.end() || found->second.isRefused;
}

int Link::onListening(sd_bus_message* message, void* heard, sd_bus_error* /*error*/) noexcept {
    static_cast<Heard*>(heard)->isRefused = sd_bus_message_is_method_error(message, nullptr) != 0;
    return 0;
}

int Link::onMessage(sd_bus_message* message, void* link, sd_bus_error* /*error*/) noexcept {
    return guarded([&] {
        auto const& self = *static_cast<Link*>(link);
        char const* const path = sd_bus_message_get_path(message);
        char const* const sender = sd_bus_message_get_sender(message);
        // Anybody may send signals; the owner of the name is one.
        if (path == nullptr || sender == nullptr || self.owner_ != sender) {
            return;
        }
        if (auto const found = self.heard_.find(std::string_view(path)); found != self.heard_.end()) {
            found->second.listener->hear(message);
        }
    });
}

void reportFailure(std::string const& what, char const* operation, int status) noexcept {
    auto const reason = [status] {
        switch (status) {
            case television::STATUS_NO_TELEVISION:
                return "there is no television";
            case television::STATUS_NOT_PUBLISHED:
            case television::STATUS_WITHDRAWN:
                return "the object was taken away";
            case television::STATUS_NO_BUS:
                return "there is no bus";
            case television::STATUS_NO_ANSWER:
                return "no answer came in time";
            case television::STATUS_NOT_CARRIED:
                return "the bus does not carry it";
            default:
                return "refused";
        }
    };
    guarded([&] {
        report((what + ": " + operation + " failed, status " + std::to_string(status) + ": " + reason()).c_str());
    });
}

void report(char const* line) noexcept {
    try {  // Where the lines go is the program's.
        DebugLevelRecord record{SEVERITY_ERROR, 0, 0};
        if (debugCheckLevel(&record) != 0) {
            debugOutput("ERROR [BUS] %s\n", line);
        }
    } catch (...) {
    }
}

}  // namespace bus
