#pragma once

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

// What the programs here have in common.

namespace stress {

using List = std::vector<std::string>;

/// The list of a number above 0: each of its elements carries it, and how many and how long they are follows from it.
inline List listOf(int number) {
    return List(1 + static_cast<std::size_t>(number) % 40,
                std::to_string(number) + std::string(static_cast<std::size_t>(number) * 7 % 300, '.'));
}

/// The number whose list it is; 0 when it is none's.
inline int numberOf(List const& list) {
    int const number = list.empty() ? 0 : std::atoi(list[0].c_str());
    return number > 0 && list == listOf(number) ? number : 0;
}

/// The whole number in the argument at the place, or the other one if there is none. Fails when it is no number.
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
