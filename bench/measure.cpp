#include "measure.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> allocationCount = 0;

class Client final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(bench::Strings const& list) override { bench::keepObservable(list.data()); }
    void onNRXEventReceived(bench::Strings const& list) override { bench::keepObservable(list.data()); }
};

}  // namespace

// These operators replace the standard operators in the program and its shared libraries. The other forms of new and
// delete call these operators.

void* operator new(std::size_t size) {
    // Not an atomic addition, because an atomic addition takes as long as the allocation. The count is exact if only
    // one thread allocates at a time, as in the benchmarks that read the count.
    allocationCount.store(allocationCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    if (void* const memory = std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace bench {

Strings makeStrings(int count, int length) {
    Strings list;
    for (int index = 0; index < count; ++index) {
        std::string text = std::to_string(index);
        text.insert(0, static_cast<std::size_t>(length) - text.size(), 'a');
        list.push_back(text);
    }
    return list;
}

orvane::NRXModelAccessClient& relayClient() {
    static Client instance;
    return instance;
}

void keepFreedMemory() {
    constexpr int KEPT_BYTES = 32 * 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, KEPT_BYTES);
    mallopt(M_TRIM_THRESHOLD, 4 * KEPT_BYTES);
}

int runBenchmarks(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    benchmark::RunSpecifiedBenchmarks();
    // In nrx_bench the registered functions own clients of the television. The clients are destroyed here, because
    // `main` destroys the television next.
    benchmark::ClearRegisteredBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}

std::int64_t heapAllocations() { return allocationCount.load(std::memory_order_relaxed); }

}  // namespace bench
