#include "bus/protocol/tasks.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace bus {

Tasks::Tasks(sd_event* loop) : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    sd_event_source* source = nullptr;
    int result = descriptor_ < 0 ? -errno : sd_event_add_io(loop, &source, descriptor_, EPOLLIN, run, this);
    source_.reset(source);
    if (result >= 0) {
        result = sd_event_source_set_priority(source, SD_EVENT_PRIORITY_IMPORTANT);
    }
    if (result < 0) {
        ::close(descriptor_);
        throw std::system_error(-result, std::generic_category(), "the thread of the bus");
    }
}

Tasks::~Tasks() {
    source_.reset();
    ::close(descriptor_);
}

void Tasks::post(std::function<void()> task) {
    std::lock_guard const lock(mutex_);
    queue_.push_back(std::move(task));
    ::eventfd_write(descriptor_, 1);
}

int Tasks::run(sd_event_source* /*source*/, int descriptor, unsigned int /*events*/, void* tasks) noexcept {
    auto& self = *static_cast<Tasks*>(tasks);
    eventfd_t count = 0;
    ::eventfd_read(descriptor, &count);
    std::vector<std::function<void()>> due;  // Empty without an allocation.
    {
        std::lock_guard const lock(self.mutex_);
        due.swap(self.queue_);
    }
    for (auto const& task : due) {
        try {
            task();
        } catch (...) {  // Without memory, say: the rest is done all the same.
        }
    }
    return 0;
}

}  // namespace bus
