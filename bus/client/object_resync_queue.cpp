#include "bus/client/object_resync_queue.h"

#include <algorithm>
#include <cassert>

#include "bus/client/remote_model.h"

namespace bus {

namespace {

/// This maximum is lower than the bus's limit for the pending calls of a connection, because the calls that clients in
/// this process make count against the bus's limit too.
constexpr std::size_t MAX_RUNNING = 64;
constexpr std::chrono::milliseconds FIRST_RETRY_DELAY{100};
constexpr std::chrono::milliseconds LAST_RETRY_DELAY{10'000};

}  // namespace

void ObjectResyncQueue::addAllObjects(KeyEntry const& entry) {
    for (auto const& object : entry.objects) {
        waiting_.push_back({object.get(), FIRST_RETRY_DELAY});
    }
}

void ObjectResyncQueue::addAllObjectsAndStart(KeyEntry const& entry) {
    runStepOrRestartAllLater([&] {
        addAllObjects(entry);
        start();
    });
}

template <typename Step>
void ObjectResyncQueue::runStepOrRestartAllLater(Step const& step) {
    try {
        step();
    } catch (...) {  // Memory ran out. Resyncs may be missing.
        modelState_.connection.repeatNameAppearedLater();
    }
}

void ObjectResyncQueue::start() {
    while (runningCount_ < MAX_RUNNING && !waiting_.empty()) {
        ObjectResync const next = waiting_.front();
        waiting_.pop_front();
        {
            television::MutexLock const lock(modelState_.mutex);
            if (!next.object->needsResync()) {
                continue;
            }
        }
        ++runningCount_;
        auto const complete = [this, next, generation = resyncGeneration_](int status) {
            if (generation == resyncGeneration_) {
                handleResyncEnd(next, status);
            }
        };
        int const status = catchToStatus([&] {
            next.object->resyncWithTelevision(complete);
            return television::STATUS_OK;
        });
        if (status != television::STATUS_OK) {
            complete(status);
            return;
        }
    }
}

void ObjectResyncQueue::cancelAll() {
    ++resyncGeneration_;
    waiting_.clear();
    runningCount_ = 0;
}

void ObjectResyncQueue::handleResyncEnd(ObjectResync const& resync, int status) {
    assert(runningCount_ != 0);
    --runningCount_;
    bool const isEnded = status == television::STATUS_OK || status == television::STATUS_NOT_PUBLISHED ||
                         status == television::STATUS_NO_TELEVISION || status == television::STATUS_NO_BUS;
    if (!isEnded) {
        if (resync.retryDelay == FIRST_RETRY_DELAY) {
            resync.object->logFailure("read", status);
        }
        runStepOrRestartAllLater([&] {
            modelState_.connection.runLater(resync.retryDelay, [this, resync, generation = resyncGeneration_] {
                if (generation == resyncGeneration_) {
                    runStepOrRestartAllLater([&] {
                        waiting_.push_back({resync.object, std::min(2 * resync.retryDelay, LAST_RETRY_DELAY)});
                    });
                    start();
                }
            });
        });
    }
    start();
}

}  // namespace bus
