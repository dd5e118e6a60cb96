#pragma once

#include <array>
#include <memory>
#include <string>

#include "measure.h"
#include "tests/child_process.h"

// The shared parts of the benchmarks over the message bus. Each program starts itself as the television.

namespace bench {

inline constexpr std::array COUNTS = {3, 100, 10'000};  ///< The lengths of the lists.
inline constexpr int LENGTH = 48;                       ///< The length of each string.

/// Restricts this process and its later child processes to one processor, or lifts the restriction. The time of an
/// exchange depends on the processors that the system chooses for the processes.
void runOnOneProcessor(bool one);

/// Serves the command list on the bus at the address, and publishes a new list for each byte from standard input, which
/// is the index of its length in `COUNTS`. Ends the process at the end of the input.
[[noreturn]] void serveTelevision(char const* address);

/// A bus with a television in another process.
struct BusFixture {
    /// Makes the television publish a list of the length `COUNTS[which]`.
    void publish(std::size_t which) const { television.write(std::string(1, static_cast<char>(which))); }

    std::string address{};
    std::unique_ptr<test::ChildProcess> bus = test::startBus(address);
    test::ChildProcess television{{"/proc/self/exe", "television", address}};
    std::string const readyLine = television.readLine();
};

/// The name of a benchmark with the list of the length `COUNTS[which]`.
std::string nameOf(std::string const& way, std::size_t which);

/// Registers a benchmark of list exchanges with other processes, in real time. `prepare` returns a function object that
/// makes a number of exchanges and returns whether all lists arrived. The benchmark makes `batch` exchanges between two
/// readings of the clock.
template <typename Prepare>
void addExchange(std::string const& name, Prepare const& prepare, int batch = 1) {
    auto const measure = [prepare, batch](benchmark::State& state) {
        auto const exchange = prepare();
        bool isComplete = exchange(1);
        while (isComplete && state.KeepRunningBatch(batch)) {
            isComplete = exchange(batch);
        }
        if (!isComplete) {
            state.SkipWithError("a list did not arrive");
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), measure)->UseRealTime();
}

}  // namespace bench
