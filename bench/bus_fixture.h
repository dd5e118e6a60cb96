#pragma once

#include <array>
#include <memory>
#include <string>

#include "measure.h"
#include "tests/child_process.h"

// The shared parts of the benchmarks over the message bus. The television is a child process that runs the benchmark's
// executable.

namespace bench {

inline constexpr std::array LIST_LENGTHS = {3, 100, 10'000};
inline constexpr int STRING_LENGTH = 48;

/// Restricts this process and its later child processes to one processor, or lifts the restriction. Without the
/// restriction, the time of an exchange varies with the processors that the system chooses for the processes.
void setRestrictedToOneProcessor(bool isRestricted);

/// Serves the command list on the bus at the address. Each byte from standard input is an index of `LIST_LENGTHS`, and
/// makes the television publish a list of the length at this index. Ends the process at the end of the input.
[[noreturn]] void serveTelevision(char const* address);

/// A bus with a television in another process.
struct BusFixture {
    /// Makes the television publish a list of the length `LIST_LENGTHS[lengthIndex]`.
    void publishList(std::size_t lengthIndex) const {
        television.write(std::string(1, static_cast<char>(lengthIndex)));
    }

    std::string address{};
    std::unique_ptr<test::ChildProcess> bus = test::startBus(address);
    test::ChildProcess television{{"/proc/self/exe", "television", address}};
    std::string const readyLine = television.readLine();
};

/// The name of a benchmark with the list of the length `LIST_LENGTHS[lengthIndex]`.
std::string benchmarkName(std::string const& baseName, std::size_t lengthIndex);

/// Registers a benchmark that measures the real time of list exchanges with other processes. `makeExchange` returns a
/// function object that makes a number of exchanges and returns whether all lists arrived. The benchmark makes
/// `exchangesPerBatch` exchanges between two readings of the clock.
template <typename MakeExchange>
void addExchangeBenchmark(std::string const& name, MakeExchange const& makeExchange, int exchangesPerBatch = 1) {
    auto const measure = [makeExchange, exchangesPerBatch](benchmark::State& state) {
        auto const exchange = makeExchange();
        bool isComplete = exchange(1);
        while (isComplete && state.KeepRunningBatch(exchangesPerBatch)) {
            isComplete = exchange(exchangesPerBatch);
        }
        if (!isComplete) {
            state.SkipWithError("a list did not arrive");
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), measure)->UseRealTime();
}

}  // namespace bench
