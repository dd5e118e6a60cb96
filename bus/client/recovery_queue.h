#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

namespace bus {

struct KeyEntry;
struct ModelContext;
class RemoteObject;

/// The objects whose observers missed changes, since the television was gone or the object was not published. Reads a
/// limited number of them at a time, and repeats failed reads. Used on the connection's thread alone.
class RecoveryQueue {
public:
    explicit RecoveryQueue(ModelContext& context) : context_(context) {}

    /// Adds the objects of a key.
    void add(KeyEntry const& entry);
    /// The same, and starts them. Without memory all begin again later.
    void addAndStart(KeyEntry const& entry);
    /// Starts as many recoveries as may run at the same time.
    void start();
    /// Drops all recoveries: the television is gone, and replies to calls that were made to it are ignored.
    void clear();

private:
    struct Recovery {
        RemoteObject* object;
        std::chrono::milliseconds retryDelay;
    };

    void end(Recovery const& recovery, int status);
    template <typename Step>
    void runOrBeginAgain(Step const& step);

    ModelContext& context_;
    std::deque<Recovery> waiting_;
    std::size_t runningCount_ = 0;
    std::uint64_t lostOwnerCount_ = 0;  ///< How many televisions have gone.
};

}  // namespace bus
