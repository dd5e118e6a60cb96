#pragma once

#include <sys/prctl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "television/environment.h"

namespace stress {

/// Ends the program at once, with the failure on standard error.
[[noreturn]] inline void fail(std::string const& what) {
    std::fprintf(stderr, "stress: %s\n", what.c_str());
    std::_Exit(EXIT_FAILURE);
}
inline void expect(bool condition, char const* what) { condition ? void() : fail(std::string("expected: ") + what); }

/// Returns the whole number in the argument at `position`, or `defaultNumber` if there is no such argument.
inline int numberAt(int position, int argc, char** argv, int defaultNumber) {
    if (position >= argc) {
        return defaultNumber;
    }
    auto const number = television::parseNumber<int>(argv[position]);
    if (!number || *number < 0) {
        fail("found \"" + std::string(argv[position]) + "\", expected a whole number that is not below 0");
    }
    return *number;
}

template <typename Condition>
void waitUntil(Condition const& condition) {
    while (!condition()) {
        std::this_thread::yield();
    }
}

using List = std::vector<std::string>;

/// Makes a list from a number above 0. Each element begins with the number. The number also determines the count and
/// the length of the elements.
inline List encodeList(int number) {
    auto const size = static_cast<std::size_t>(number);
    List list(1 + size % 40, std::to_string(number) + std::string(size * 7 % 300, '.'));
    return list;
}

/// The number from which `encodeList` made the list, or 0 for any other list, for example a torn list.
inline int decodeList(List const& list) {
    int const number = list.empty() ? 0 : std::atoi(list[0].c_str());
    return number > 0 && list == encodeList(number) ? number : 0;
}

struct ReceivedListChecker {
    /// Fails unless the list is whole and newer than the previous list. Returns whether lists are missing in between.
    bool recordAndDetectGap(List const& list) {
        int const number = decodeList(list);
        int const before = lastNumber.exchange(number);
        if (number <= before) {
            fail("list " + std::to_string(before) + " is followed by list " + std::to_string(number) +
                 ", 0 is a torn one");
        }
        firstNumber = before == 0 ? number : firstNumber.load();
        return before != 0 && number != before + 1;
    }

    std::atomic<int> firstNumber = 0;
    std::atomic<int> lastNumber = 0;
};

/// Prints the stacks of all threads on standard error and ends the program if `timeout` passes without a `kick`.
class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds timeout)
        : timeout_(timeout), thread_([this](std::stop_token const& stop) { watch(stop); }) {}

    void kick() { lastKick_ = std::chrono::steady_clock::now(); }

private:
    void watch(std::stop_token const& stop) const {
        while (!stop.stop_requested()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            if (std::chrono::steady_clock::now() - lastKick_.load() > timeout_) {
                ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);  // Lets eu-stack trace this process.
                int const status = std::system(("exec eu-stack -p " + std::to_string(::getpid()) + " >&2").c_str());
                fail(status == 0 ? "no progress any more" : "no progress any more, and eu-stack cannot say where");
            }
        }
    }

    std::chrono::seconds const timeout_;
    std::atomic<std::chrono::steady_clock::time_point> lastKick_ = std::chrono::steady_clock::now();
    std::jthread const thread_;
};

}  // namespace stress
