#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

// What the programs here have in common.

namespace stress {

/// The whole number in the argument at the place, if there is one.
int numberAt(int place, int argc, char** argv, int otherwise);

/// Ends the program at once, with what it found on standard error.
[[noreturn]] void fail(std::string const& what);

/// Ends the program, with the stacks of all its threads on standard error, when nothing has got on for so long.
class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds patience);
    Watchdog(Watchdog const&) = delete;
    Watchdog& operator=(Watchdog const&) = delete;
    ~Watchdog() = default;

    /// Something has got on.
    void beat() { beats_.fetch_add(1, std::memory_order_relaxed); }

private:
    void watch(std::stop_token const& stop);

    std::chrono::seconds const patience_;
    std::atomic<unsigned int> beats_ = 0;
    std::jthread const thread_;
};

}  // namespace stress
