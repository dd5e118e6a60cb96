#pragma once

namespace test {

/// Lets one allocation of the process fail after so many others, or all from there on, while it lives. Counts those of
/// C and of C++, in every library, but not those of threads that have a `ScopedMemory`.
class ScopedAllocationFailure {
public:
    ScopedAllocationFailure(int allocations, bool lasts);
    ScopedAllocationFailure(ScopedAllocationFailure const&) = delete;
    ScopedAllocationFailure& operator=(ScopedAllocationFailure const&) = delete;
    ~ScopedAllocationFailure();

    /// Whether an allocation has failed.
    [[nodiscard]] static bool hasHappened();
};

/// Allocations of this thread succeed while it lives.
class ScopedMemory {
public:
    ScopedMemory();
    ScopedMemory(ScopedMemory const&) = delete;
    ScopedMemory& operator=(ScopedMemory const&) = delete;
    ~ScopedMemory();
};

}  // namespace test
