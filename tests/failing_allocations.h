#pragma once

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

}  // namespace test
