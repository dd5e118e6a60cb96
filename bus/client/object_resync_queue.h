#pragma once

#include <chrono>
#include <cstdint>
#include <deque>

namespace bus {

struct KeyEntry;
struct SharedModelState;
class RemoteObject;

/// Reads objects again after a loss of the television, because the objects' observers may have missed changes. The
/// reads start when a television appears. If an object is not published at that time, the object is read when the
/// television publishes the object. Limits the number of reads at a time, and repeats failed reads. Used on the
/// connection's thread only.
class ObjectResyncQueue {
public:
    explicit ObjectResyncQueue(SharedModelState& modelState) : modelState_(modelState) {}

    /// Adds the objects of a key.
    void addAllObjects(KeyEntry const& entry);
    /// Adds the objects of a key and starts their resyncs. If memory runs out, all resyncs start again later.
    void addAllObjectsAndStart(KeyEntry const& entry);
    /// Starts resyncs from the queue, until `MAX_RUNNING` resyncs run or the queue is empty.
    void start();
    /// Drops all resyncs and ignores the replies to their calls. Called when the television is gone or has appeared.
    void cancelAll();

private:
    struct ObjectResync {
        RemoteObject* object;
        std::chrono::milliseconds retryDelay;
    };

    void handleResyncEnd(ObjectResync const& resync, int status);
    template <typename Step>
    void runStepOrRestartAllLater(Step const& step);

    SharedModelState& modelState_;
    std::deque<ObjectResync> waiting_;
    std::size_t runningCount_ = 0;
    std::uint64_t resyncGeneration_ = 0;  ///< The number of calls of `cancelAll`.
};

}  // namespace bus
