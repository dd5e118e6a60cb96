#include "support.h"

#include <unistd.h>

#include <cstdlib>
#include <new>

static std::vector<unsigned int> sleeps;       // Only the test's own thread waits.
static thread_local int allocationsLeft = -1;  // Before one fails; below 0 none does.
static thread_local bool failureLasts = false;

/// Replaces the C library's for the whole process, so that waiting costs the tests no time.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds) {
    sleeps.push_back(microseconds);
    return 0;
}

// These replace the C++ library's, all forms of new, for the whole process. Inlined, they look mismatched to compilers.

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
