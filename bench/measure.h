#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_handler.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access_client.h"

namespace simulator {
class Television;
}

namespace bench {

using namespace orvane::system::support;
using Strings = std::vector<std::string>;

/// `count` different strings of `length` characters.
Strings makeStrings(int count, int length);

/// Makes the compiler assume that the memory is read and written here.
inline void keepObservable(void const* memory) {
    benchmark::DoNotOptimize(memory);
    benchmark::ClobberMemory();
}

/// Returns the one client to which the benchmarks of relay_bench.cpp pass lists. The client's class is defined in
/// measure.cpp, so that every call from another source file is a virtual call.
orvane::NRXModelAccessClient& relayClient();

/// Prevents the heap from returning memory to the system. Otherwise a call's time depends on the earlier benchmarks.
void keepFreedMemory();

/// The number of calls of `operator new` so far, on all threads.
std::int64_t heapAllocations();

/// The number of calls in each benchmark. With 0 Google Benchmark selects the number.
inline std::int64_t callsPerBenchmark = 0;

/// Runs the registered benchmarks with the options of Google Benchmark, and returns the program's exit status.
int runBenchmarks(int argc, char** argv);

/// Registers the benchmark of one call. For each repetition, `makeCall` returns the call, a function object that owns
/// all its data.
template <typename MakeCall>
void addCallBenchmark(std::string const& name, MakeCall const& makeCall) {
    auto* const registered = benchmark::RegisterBenchmark(name.c_str(), [makeCall](benchmark::State& state) {
        auto const call = makeCall();
        call();  // The first call fills caches and makes lazy bindings.
        std::int64_t const before = heapAllocations();
        for ([[maybe_unused]] auto const iteration : state) {
            call();
        }
        auto const made = static_cast<double>(heapAllocations() - before);
        state.counters["allocations"] = benchmark::Counter(made, benchmark::Counter::kAvgIterations);
    });
    if (callsPerBenchmark > 0) {
        registered->Iterations(callsPerBenchmark);
    }
}

void addListRelayBenchmarks();
void addValueObjectBenchmarks();
void addAccessObjectBenchmarks(simulator::Television& television);
void addPropertyBenchmarks(simulator::Television& television);
void addRefusedLogBenchmarks();

}  // namespace bench
