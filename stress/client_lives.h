#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <semaphore>

#include "client/action.h"
#include "client/property.h"
#include "client/table.h"
#include "stress/changing_television.h"

// Lives of the objects of the layer in client/.

namespace stress {

/// Runs tasks on two threads, so that only the layer keeps the calls of a handler in order.
class Workers {
public:
    void add(std::function<void()> task) {
        std::lock_guard const lock(mutex_);
        tasks_.push_back(std::move(task));
        added_.notify_one();
    }

private:
    void run(std::stop_token const& stop) {
        std::unique_lock lock(mutex_);
        while (added_.wait(lock, stop, [this] { return !tasks_.empty(); })) {
            auto const task = std::move(tasks_.front());
            tasks_.pop_front();
            lock.unlock();
            task();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable_any added_;
    std::deque<std::function<void()>> tasks_;
    std::function<void(std::stop_token)> const run_ = [this](std::stop_token const& stop) { run(stop); };
    std::jthread const first_{run_};
    std::jthread const second_{run_};
};

inline orvane::client::Executor executorOf(int round) {
    static Workers workers;
    return round % 2 == 0 ? orvane::client::Executor() : [](auto task) { workers.add(std::move(task)); };
}

/// Receives some changes, and ends inside its handler or after it.
inline void watchProperty(ChangingTelevision& /*television*/, int round) {
    std::binary_semaphore ended(0);
    std::atomic<bool> isRunning = false;
    auto property = std::make_unique<orvane::client::Property<int>>(VALUE, executorOf(round));
    auto const watched = property->watch([&, last = 0, count = 0](int value) mutable {
        expect(!isRunning.exchange(true), "the calls of a handler do not overlap");
        expect(count == 0 || value == last + 1 || (count == 1 && value <= last), "no change is lost or out of order");
        last = value;
        bool const isLast = ++count == 1 + round % 4;
        isLast&& round % 3 == 0 ? property.reset() : void();
        isRunning = false;
        isLast ? ended.release() : void();
    });
    ended.acquire();
    property.reset();
    expect(watched && !isRunning, "no handler runs after the end of its property");
}

/// Calls from two threads, reads rows, and leaves a call behind.
inline void callAndRead(ChangingTelevision& /*television*/, int round) {
    constexpr std::chrono::seconds WAIT(60);
    List const done{"done"};
    orvane::client::Action action(SOURCE_SWITCH, executorOf(round));
    std::jthread const other([&] { expect(action.call({}, WAIT).value_or({}) == done, "each thread has its answer"); });
    expect(action.call({}, WAIT).value_or({}) == done, "a call has its answer");
    action.call({}, [&done](auto const& answer) { expect(*answer == done, "an answer arrives before the end"); });
    auto rows = orvane::client::Table(TABLE).rows({}, 1 + round % 3, WAIT);
    for (List const& row : rows) {
        expect(decodeList(row) != 0, "a row is whole");
    }
    expect(static_cast<bool>(rows.result()), "all rows are read");
}

}  // namespace stress
