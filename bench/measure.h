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
Strings strings(int count, int length);

/// Receives lists for everything that is compared. Defined elsewhere, so that every call of it is a virtual call.
orvane::NRXModelAccessClient& client();

/// Lets the heap keep what it has: whether it goes back to the system after each call depends on what else was
/// measured.
void keepHeap();

/// The calls of `operator new` so far, on all threads.
std::int64_t heapAllocations();

/// How often each call is made; 0 lets Google Benchmark decide.
inline std::int64_t iterations = 0;

/// Registers the measurement of one call under `name`. `prepare` makes the call, a function object that owns all it
/// needs, anew for each repetition.
template <typename Prepare>
void add(std::string const& name, Prepare const& prepare) {
    auto* const registered = benchmark::RegisterBenchmark(name.c_str(), [prepare](benchmark::State& state) {
        auto const call = prepare();
        call();  // Once outside: caches fill, lazy bindings are made.
        std::int64_t const before = heapAllocations();
        for ([[maybe_unused]] auto const iteration : state) {
            call();
        }
        auto const made = static_cast<double>(heapAllocations() - before);
        state.counters["allocations"] = benchmark::Counter(made, benchmark::Counter::kAvgIterations);
    });
    if (iterations > 0) {
        registered->Iterations(iterations);
    }
}

void addRelay();
void addValues();
void addAccess(simulator::Television& television);
void addLog();

}  // namespace bench
