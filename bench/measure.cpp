#include "measure.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> allocationCount = 0;

class Client final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(std::vector<std::string> const& parameters) override { use(parameters); }
    void onNRXEventReceived(std::vector<std::string> const& parameters) override { use(parameters); }

private:
    static void use(std::vector<std::string> const& parameters) {
        benchmark::DoNotOptimize(parameters.data());
        benchmark::ClobberMemory();
    }
};

}  // namespace

// For the whole program, its shared libraries included. The forms for arrays and for no exceptions end here too.

void* operator new(std::size_t size) {
    // Not a locked addition, which would weigh as much as the allocation: one thread allocates at a time.
    allocationCount.store(allocationCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    if (void* const memory = std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace bench {

Strings strings(int count, int length) {
    Strings list;
    for (int index = 0; index < count; ++index) {
        std::string text = std::to_string(index);
        text.insert(0, static_cast<std::size_t>(length) - text.size(), 'a');
        list.push_back(text);
    }
    return list;
}

orvane::NRXModelAccessClient& client() {
    static Client instance;
    return instance;
}

void keepHeap() {
    constexpr int ALWAYS_KEPT = 32 * 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, ALWAYS_KEPT);
    mallopt(M_TRIM_THRESHOLD, 4 * ALWAYS_KEPT);
}

std::int64_t heapAllocations() { return allocationCount.load(std::memory_order_relaxed); }

}  // namespace bench
