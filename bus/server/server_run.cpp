// The event loop of the server.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "bus/server/server.h"

namespace bus::server {

namespace {

constexpr std::chrono::milliseconds NO_MEMORY_PAUSE{10};

int handleReadable(sd_event_source* /*source*/, int /*descriptor*/, std::uint32_t /*events*/, void* /*none*/) {
    return 0;  // `runLoopAndProcessOneMessage` processes the bus.
}

/// Throws `std::system_error` for a negative error number.
void requireSuccess(int result) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "the event loop of the bus");
    }
}

}  // namespace

void Server::addBusSocketSource() {
    // Does not use sd_bus_attach_event, which ends the connection when memory runs out.
    requireSuccess(assignFromOutParameter(busSource_, [this](auto source) {
        return sd_event_add_io(loop_.loop.get(), source, sd_bus_get_fd(bus_.get()), 0, handleReadable, nullptr);
    }));
}

bool Server::runOnceUnlessTerminated(bool waitsForEvent) {
    throwIfBusLost();  // Checks also before the wait, because a lost bus causes no event.
    if (isTerminating_) {
        return false;
    }
    retryFailedReplacement();
    runLoopAndProcessOneMessage(waitsForEvent && !isReplacementFailed_);
    try {
        sendQueue_.sendWaiting();
    } catch (std::bad_alloc const&) {  // The next call of this function sends the waiting messages.
    }
    throwIfBusLost();
    return !isTerminating_;
}

void Server::runLoopAndProcessOneMessage(bool waitsForEvent) {
    sd_bus* const bus = bus_.get();
    auto const step = [&] {
        // When to call `sd_bus_process`, in microseconds of the monotonic clock. UINT64_MAX means that no time is set.
        std::uint64_t due = UINT64_MAX;
        NRX_TRY(sd_event_source_set_io_events(busSource_.get(), static_cast<unsigned int>(sd_bus_get_events(bus))));
        NRX_TRY(sd_bus_get_timeout(bus, &due));
        auto const elapsed = std::chrono::steady_clock::now().time_since_epoch();
        auto const now = static_cast<std::uint64_t>(std::chrono::ceil<std::chrono::microseconds>(elapsed).count());
        std::uint64_t const untilDue = due == UINT64_MAX ? due : due - std::min(due, now);
        NRX_TRY(sd_event_run(loop_.loop.get(), waitsForEvent && !isNextWaitSkipped_ ? untilDue : 0));
        return sd_bus_process(bus, nullptr);
    };
    int const result = sd_bus_is_open(bus) > 0 ? step() : sd_event_run(loop_.loop.get(), 0);
    // If memory ran out, the next call does not wait for the socket, because sd-bus may have already read a part of a
    // message, and the socket does not become readable again for this part.
    isNextWaitSkipped_ = result == -ENOMEM;
    if (isNextWaitSkipped_) {
        std::this_thread::sleep_for(NO_MEMORY_PAUSE);
    } else {
        requireSuccess(result);
    }
}

void Server::throwIfBusLost() const {
    if (!isTerminating_ && sd_bus_is_open(bus_.get()) <= 0) {
        throw std::runtime_error("the bus is lost");
    }
}

void Server::waitUntilSent() {
    waitUntilSignalsQueued();
    throwIfBusLost();
    while (sendQueue_.isWaiting() && runOnceUnlessTerminated(true)) {
    }
    sd_bus_flush(bus_.get());
}

void Server::waitUntilSignalsQueued() {
    // Runs the queued tasks, and then the tasks that these tasks have caused: a task may connect to a new object, which
    // notifies its value at once and so queues another task.
    for (int times = 0; times < 2; ++times) {
        television_.waitUntilDelivered();
        auto const done = std::make_shared<bool>(false);
        loop_.tasks.post([done] { *done = true; });
        while (!*done) {
            throwIfBusLost();
            runLoopAndProcessOneMessage(true);
        }
    }
}

int Server::handleTermination(sd_event_source* /*source*/, signalfd_siginfo const* /*information*/,
                              void* server) noexcept {
    static_cast<Server*>(server)->isTerminating_ = true;
    return 0;
}

EventSource Server::addTerminationSource(int signal) {
    EventSource added;
    requireSuccess(assignFromOutParameter(added, [&](auto source) {
        return sd_event_add_signal(loop_.loop.get(), source, signal, handleTermination, this);
    }));
    return added;
}

}  // namespace bus::server
