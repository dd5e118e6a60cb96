#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

namespace bus {

struct KeyEntry;
struct ModelContext;
class RemoteObject;

/// The objects whose observers missed changes because the television was gone or the object was not published. Reads a
/// limited number of these objects at a time, and repeats failed reads. Used on the connection's thread only.
class RecoveryQueue {
public:
    explicit RecoveryQueue(ModelContext& context) : context_(context) {}

    /// Adds the objects of a key.
    void add(KeyEntry const& entry);
    /// Adds the objects of a key and starts their recoveries. If memory runs out, all recoveries start again later.
    void addAndStart(KeyEntry const& entry);
    /// Starts waiting recoveries until `MAX_RUNNING` recoveries run.
    void start();
    /// Called when the television is gone. Drops all recoveries and ignores the replies to their calls.
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
    std::uint64_t lostOwnerCount_ = 0;  ///< The number of televisions that have gone.
};

}  // namespace bus
