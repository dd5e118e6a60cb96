#pragma once

#include <gtest/gtest.h>

#include "stress/program.h"

namespace test {

/// While this object exists, the next `successfulAllocations` allocations of the process succeed, and the allocation
/// after them fails. With `failsAllLater`, all later allocations fail, too. Counts the C and C++ allocations of all
/// libraries, except on threads with a `ScopedThreadAllocationSuccess`.
class ScopedAllocationFailure {
public:
    ScopedAllocationFailure(int successfulAllocations, bool failsAllLater);
    ScopedAllocationFailure(ScopedAllocationFailure const&) = delete;
    ScopedAllocationFailure& operator=(ScopedAllocationFailure const&) = delete;
    ~ScopedAllocationFailure();

    /// Whether an allocation has failed.
    [[nodiscard]] static bool hasHappened();
};

/// While this object exists, the allocations of the thread that created the object succeed.
class ScopedThreadAllocationSuccess {
public:
    ScopedThreadAllocationSuccess();
    ScopedThreadAllocationSuccess(ScopedThreadAllocationSuccess const&) = delete;
    ScopedThreadAllocationSuccess& operator=(ScopedThreadAllocationSuccess const&) = delete;
    ~ScopedThreadAllocationSuccess();
};

/// Lets each allocation of each operation fail in two runs: in one run alone, in the other run with all later ones.
/// `runsWithoutFailedAllocation` takes an operation and the arguments of a `ScopedAllocationFailure`, and returns
/// whether no allocation failed. The first member of an operation is its name. Prints the numbers of allocations.
template <typename Operations, typename RunsWithoutFailedAllocation>
void failEachAllocation(Operations const& operations, RunsWithoutFailedAllocation const& runsWithoutFailedAllocation) {
    stress::Watchdog watchdog(std::chrono::seconds(20));
    for (auto const& operation : operations) {
        std::string const name = std::get<0>(operation);
        auto const run = [&](int allocations, bool lasts) {
            SCOPED_TRACE(name + ", allocation " + std::to_string(allocations) + (lasts ? " and later" : ""));
            watchdog.kick();
            return runsWithoutFailedAllocation(operation, allocations, lasts);
        };
        int failed = 0;
        for (; !run(failed, true); ++failed) {
            run(failed, false);
        }
        std::printf("%s: %d allocations\n", name.c_str(), failed);
        EXPECT_GT(failed, 0);
    }
}

}  // namespace test
