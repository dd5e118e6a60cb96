#pragma once

#include <systemd/sd-event.h>

#include <functional>
#include <vector>

#include "bus/protocol/message.h"
#include "television/mutex.h"

namespace bus {

/// Tasks that any thread posts to the thread of an event loop. The loop runs the tasks in the order of the `post`
/// calls, before the loop handles the next message of a bus.
class TaskQueue {
public:
    /// Adds an event source to the loop. Throws `std::system_error` if the kernel lacks resources.
    explicit TaskQueue(sd_event* loop);
    TaskQueue(TaskQueue const&) = delete;
    TaskQueue& operator=(TaskQueue const&) = delete;
    /// Must be called on the loop's thread, or after the loop has ended. Drops the tasks that have not run.
    ~TaskQueue();

    /// Adds a task. Exceptions of the task are ignored.
    void post(std::function<void()> task);

    /// Makes the loop run one more iteration. Allocates no memory.
    void wake() const;

private:
    static int runTasks(sd_event_source* source, int descriptor, unsigned int events, void* queue) noexcept;

    television::Mutex mutex_;
    std::vector<std::function<void()>> tasks_ NRX_GUARDED_BY(mutex_);
    int descriptor_;
    EventSource source_;
};

}  // namespace bus
