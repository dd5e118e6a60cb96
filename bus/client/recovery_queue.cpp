#include "bus/client/recovery_queue.h"

#include <algorithm>
#include <cassert>

#include "bus/client/remote_model.h"

namespace bus {

namespace {

/// Lower than the bus's limit for a process's pending calls, because clients also make calls.
constexpr std::size_t MAX_RUNNING = 64;
constexpr std::chrono::milliseconds FIRST_DELAY{100};
constexpr std::chrono::milliseconds LAST_DELAY{10'000};

}  // namespace

void RecoveryQueue::add(KeyEntry const& entry) {
    for (auto const& object : entry.objects) {
        waiting_.push_back({object.get(), FIRST_DELAY});
    }
}

void RecoveryQueue::addAndStart(KeyEntry const& entry) {
    runOrBeginAgain([&] {
        add(entry);
        start();
    });
}

template <typename Step>
void RecoveryQueue::runOrBeginAgain(Step const& step) {
    try {
        step();
    } catch (...) {  // Memory ran out. Recoveries may be missing.
        context_.connection.announceAgain();
    }
}

void RecoveryQueue::start() {
    while (runningCount_ < MAX_RUNNING && !waiting_.empty()) {
        Recovery const next = waiting_.front();
        waiting_.pop_front();
        {
            television::MutexLock const lock(context_.mutex);
            if (!next.object->isRecoveryDue()) {
                continue;
            }
        }
        ++runningCount_;
        auto const complete = [this, next, owner = lostOwnerCount_](int status) {
            if (owner == lostOwnerCount_) {
                end(next, status);
            }
        };
        int const status = catchToStatus([&] {
            next.object->recover(complete);
            return television::STATUS_OK;
        });
        if (status != television::STATUS_OK) {
            complete(status);
            return;
        }
    }
}

void RecoveryQueue::clear() {
    ++lostOwnerCount_;
    waiting_.clear();
    runningCount_ = 0;
}

void RecoveryQueue::end(Recovery const& recovery, int status) {
    assert(runningCount_ != 0);
    --runningCount_;
    bool const isEnded = status == television::STATUS_OK || status == television::STATUS_NOT_PUBLISHED ||
                         status == television::STATUS_NO_TELEVISION || status == television::STATUS_NO_BUS;
    if (!isEnded) {
        if (recovery.retryDelay == FIRST_DELAY) {
            recovery.object->report("read", status);
        }
        runOrBeginAgain([&] {
            context_.connection.runLater(recovery.retryDelay, [this, recovery, owner = lostOwnerCount_] {
                if (owner == lostOwnerCount_) {
                    runOrBeginAgain([&] {
                        waiting_.push_back({recovery.object, std::min(2 * recovery.retryDelay, LAST_DELAY)});
                    });
                    start();
                }
            });
        });
    }
    start();
}

}  // namespace bus
