#pragma once

#include <cstdio>

namespace test {

/// Until its destruction, an allocation of the process fails after `allocations` others. With `lasts`, all later
/// allocations fail, too. Counts C and C++ allocations in every library, except in threads that have a `ScopedMemory`.
class ScopedAllocationFailure {
public:
    ScopedAllocationFailure(int allocations, bool lasts);
    ScopedAllocationFailure(ScopedAllocationFailure const&) = delete;
    ScopedAllocationFailure& operator=(ScopedAllocationFailure const&) = delete;
    ~ScopedAllocationFailure();

    /// Whether an allocation has failed.
    [[nodiscard]] static bool hasHappened();
};

/// Until its destruction, allocations of this thread succeed.
class ScopedMemory {
public:
    ScopedMemory();
    ScopedMemory(ScopedMemory const&) = delete;
    ScopedMemory& operator=(ScopedMemory const&) = delete;
    ~ScopedMemory();
};

/// Lets each allocation of an operation fail, alone and with all later ones. `run` takes the arguments of a
/// `ScopedAllocationFailure` and returns whether no allocation failed. Prints and returns the number of allocations.
template <typename Run>
int failEachAllocation(char const* name, Run const& run) {
    int failed = 0;
    for (; !run(failed, true); ++failed) {
        run(failed, false);
    }
    std::printf("%s: %d allocations\n", name, failed);
    return failed;
}

}  // namespace test
