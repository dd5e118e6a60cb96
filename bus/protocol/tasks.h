#pragma once

#include <systemd/sd-event.h>

#include <functional>
#include <mutex>
#include <vector>

#include "bus/protocol/message.h"

namespace bus {

/// Work that any thread hands over to the thread of an event loop, which does it in the order of `post`, and
/// before the next message of a bus.
class Tasks {
public:
    /// Belongs to the loop from now on. Throws `std::system_error` when the kernel has no room for it.
    explicit Tasks(sd_event* loop);
    Tasks(Tasks const&) = delete;
    Tasks& operator=(Tasks const&) = delete;
    /// On the loop's thread, or when it runs no more. Drops what was not done.
    ~Tasks();

    /// What the task throws is lost.
    void post(std::function<void()> task);

private:
    static int run(sd_event_source* source, int descriptor, unsigned int events, void* tasks) noexcept;

    std::mutex mutex_;
    std::vector<std::function<void()>> queue_;
    int descriptor_;
    Source source_;
};

}  // namespace bus
