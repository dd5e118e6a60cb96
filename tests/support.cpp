#include "support.h"

#include <unistd.h>

#include <cstdlib>
#include <new>

static std::vector<unsigned int> sleeps;       // Needs no mutex: only the test's thread sleeps.
static thread_local int allocationsLeft = -1;  // The allocations before a failure; below 0: no failure.
static thread_local bool failureLasts = false;

/// Replaces the C library's function in the whole process, so that a sleep takes no time.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds) {
    sleeps.push_back(microseconds);
    return 0;
}

// These operators replace all forms of new and delete in the process. `noinline` avoids warnings about mismatches.

[[gnu::noinline]] void* operator new(std::size_t size) {
    bool const none = allocationsLeft == 0;
    allocationsLeft -= allocationsLeft > 0 || (none && !failureLasts) ? 1 : 0;
    void* const memory = none ? nullptr : std::malloc(size != 0 ? size : 1);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace test {

std::vector<unsigned int> takeSleeps() { return std::exchange(sleeps, {}); }

ScopedAllocationFailure::ScopedAllocationFailure(int allocations, bool lasts) {
    failureLasts = lasts;
    allocationsLeft = allocations;
}

ScopedAllocationFailure::~ScopedAllocationFailure() { allocationsLeft = -1; }

}  // namespace test
