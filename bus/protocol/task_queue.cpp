#include "bus/protocol/task_queue.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace bus {

TaskQueue::TaskQueue(sd_event* loop) : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    auto const add = [&] {
        NRX_TRY(descriptor_ < 0 ? -errno : 0);
        NRX_TRY(assignFromOutParameter(
            source_, [&](auto made) { return sd_event_add_io(loop, made, descriptor_, EPOLLIN, runTasks, this); }));
        return sd_event_source_set_priority(source_.get(), SD_EVENT_PRIORITY_IMPORTANT);
    };
    if (int const result = add(); result < 0) {
        ::close(descriptor_);
        throw std::system_error(-result, std::generic_category(), "the task queue of the bus");
    }
}

TaskQueue::~TaskQueue() {
    source_.reset();
    ::close(descriptor_);
}

void TaskQueue::post(std::function<void()> task) {
    television::MutexLock const lock(mutex_);
    tasks_.push_back(std::move(task));
    wake();
}

void TaskQueue::wake() const { ::eventfd_write(descriptor_, 1); }

int TaskQueue::runTasks(sd_event_source* /*source*/, int descriptor, unsigned int /*events*/, void* queue) noexcept {
    auto& self = *static_cast<TaskQueue*>(queue);
    eventfd_t count = 0;
    ::eventfd_read(descriptor, &count);
    std::vector<std::function<void()>> due;  // An empty vector allocates no memory.
    {
        television::MutexLock const lock(self.mutex_);
        due.swap(self.tasks_);
    }
    for (auto const& task : due) {
        try {
            task();
        } catch (...) {  // A task throws, for example, if memory runs out. The other tasks still run.
        }
    }
    return 0;
}

}  // namespace bus
