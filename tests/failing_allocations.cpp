#include "failing_allocations.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <new>

static std::atomic<int> allocationsLeft = INT_MAX;
static std::atomic<bool> hasFailed = false;
static std::atomic<bool> isArmed = false;
static std::atomic<bool> failureLasts = false;
static thread_local int scopedSuccesses = 0;

#ifndef NRX_THREAD_SANITIZER  // With ThreadSanitizer, which needs its own allocation functions, no allocation fails.

#ifdef NRX_SANITIZED
#define TEST_REPLACED(name) __interceptor_##name
#else
#define TEST_REPLACED(name) __libc_##name
#endif

extern "C" void* TEST_REPLACED(malloc)(std::size_t size);
extern "C" void* TEST_REPLACED(calloc)(std::size_t count, std::size_t size);
extern "C" void* TEST_REPLACED(realloc)(void* memory, std::size_t size);

static bool fails() {
    if (!isArmed.load(std::memory_order_relaxed) || scopedSuccesses != 0) {
        return false;
    }
    int const left = allocationsLeft.fetch_sub(1);
    if (left > 0 || (left < 0 && !failureLasts)) {
        return false;
    }
    hasFailed = true;
    errno = ENOMEM;
    return true;
}

// The next functions replace the C library's functions in the whole process, also for calls by the C library.

extern "C" __attribute__((visibility("default"))) void* malloc(std::size_t size) {
    return fails() ? nullptr : TEST_REPLACED(malloc)(size);
}

extern "C" __attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : TEST_REPLACED(calloc)(count, size);
}

extern "C" __attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size) {
    return fails() ? nullptr : TEST_REPLACED(realloc)(memory, size);
}

#ifdef NRX_SANITIZED
/// In this function, allocations succeed, because sanitizers end the process if the function fails.
extern "C" __attribute__((visibility("default"))) int pthread_getattr_np(pthread_t thread,
                                                                         pthread_attr_t* attributes) noexcept {
    static auto const read = reinterpret_cast<decltype(&pthread_getattr_np)>(::dlsym(RTLD_NEXT, __func__));
    test::ScopedThreadAllocationSuccess const memory;
    return read(thread, attributes);
}

// The next operators replace those of sanitizers, because the operators of sanitizers do not call malloc.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = std::malloc(size != 0 ? size : 1);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
#endif

#endif

namespace test {

ScopedAllocationFailure::ScopedAllocationFailure(int successfulAllocations, bool failsAllLater) {
    hasFailed = false;
    failureLasts = failsAllLater;
    allocationsLeft = successfulAllocations;
    isArmed = true;
}

ScopedAllocationFailure::~ScopedAllocationFailure() { isArmed = false; }

bool ScopedAllocationFailure::hasHappened() { return hasFailed; }

ScopedThreadAllocationSuccess::ScopedThreadAllocationSuccess() { ++scopedSuccesses; }
ScopedThreadAllocationSuccess::~ScopedThreadAllocationSuccess() { --scopedSuccesses; }

}  // namespace test
