// Handlers on the thread of an epoll loop, which an eventfd wakes.

#undef NDEBUG
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cassert>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "client/property.h"
#include "simulator/television.h"

namespace {

/// Must outlive the objects that use it as their executor.
class Loop {
public:
    Loop() {
        epoll_event wanted{EPOLLIN, {}};
        assert(::epoll_ctl(epoll_, EPOLL_CTL_ADD, event_, &wanted) == 0);
    }
    Loop(Loop const&) = delete;
    Loop& operator=(Loop const&) = delete;
    ~Loop() {
        ::close(event_);
        ::close(epoll_);
    }

    /// Callable from any thread.
    void add(std::function<void()> task) {
        std::lock_guard<std::mutex> const lock(mutex_);
        tasks_.push_back(std::move(task));
        assert(::eventfd_write(event_, 1) == 0);
    }

    /// Waits for tasks, at most for the timeout, and runs the tasks. Returns false if there were no tasks.
    bool runOnce(int timeoutMs) {
        epoll_event ready{};
        eventfd_t count = 0;
        if (::epoll_wait(epoll_, &ready, 1, timeoutMs) != 1 || ::eventfd_read(event_, &count) != 0) {
            return false;
        }
        std::vector<std::function<void()>> tasks;
        {
            std::lock_guard<std::mutex> const lock(mutex_);
            tasks.swap(tasks_);
        }
        for (auto const& task : tasks) {
            task();
        }
        return true;
    }

private:
    int const epoll_ = ::epoll_create1(EPOLL_CLOEXEC);
    int const event_ = ::eventfd(0, EFD_CLOEXEC);
    std::mutex mutex_;
    std::vector<std::function<void()>> tasks_;
};

}  // namespace

int main() {
    constexpr int TIMEOUT_MS = 10'000;
    simulator::Television television;
    television.publish("audio.volume", 20);
    Loop loop;
    std::vector<int> levels;  // Needs no lock: only the loop's thread uses the levels.

    std::optional<orvane::client::Property<int>> volume;
    volume.emplace("audio.volume", [&loop](std::function<void()> task) { loop.add(std::move(task)); });
    assert(volume->watch([&levels, loopThread = std::this_thread::get_id()](int level) {
        assert(std::this_thread::get_id() == loopThread);
        levels.push_back(level);
    }));
    assert(volume->set(21));
    while (levels.size() < 2 && loop.runOnce(TIMEOUT_MS)) {
    }
    assert((levels == std::vector<int>{20, 21}));

    assert(volume->set(22));
    television.waitUntilDelivered();                          // A task that calls the handler waits in the loop.
    volume.reset();                                           // The property is destroyed before the task runs.
    assert(loop.runOnce(TIMEOUT_MS) && levels.back() == 21);  // The task does nothing.
}
