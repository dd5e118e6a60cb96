#include "web/list_queue.h"

#include <cassert>
#include <utility>

#include "web/log.h"

namespace web {

void ListQueue::setListening(ListType type, bool isOn) {
    television::MutexLock const lock(mutex_);
    isListening_.at(indexOf(type)) = isOn;
}

bool ListQueue::isListening(ListType type) const {
    television::MutexLock const lock(mutex_);
    return isListening_.at(indexOf(type));
}

void ListQueue::push(ListType type, ListText const& list) {
    bool isDeliveryDue = false;
    bool isFirstDrop = false;
    {
        television::MutexLock const lock(mutex_);
        if (isClosed_ || !isListening_.at(indexOf(type))) {
            return;
        }
        bool const hadDropped = droppedSinceEmpty_ > 0;
        dropOldestOfTypeToFit(type, sizeOf(list));
        isFirstDrop = !hadDropped && droppedSinceEmpty_ > 0;
        lists_.push_back({type, list});
        bytes_ += sizeOf(list);
        isDeliveryDue = !std::exchange(isDeliveryScheduled_, true);
    }
    if (isFirstDrop) {
        reportError("a page does not take its lists in time: older lists give way to newer ones");
    }
    if (isDeliveryDue) {
        try {
            scheduleDelivery_();
        } catch (...) {
            television::MutexLock const lock(mutex_);
            isDeliveryScheduled_ = false;  // The next push calls `scheduleDelivery` again.
            throw;
        }
    }
}

void ListQueue::dropOldestOfTypeToFit(ListType type, std::size_t size) {
    for (auto queued = lists_.begin(); queued != lists_.end() && bytes_ + size > MAX_BYTES;) {
        if (queued->type == type) {
            assert(bytes_ >= sizeOf(queued->list));
            bytes_ -= sizeOf(queued->list);
            queued = lists_.erase(queued);
            ++droppedSinceEmpty_;
        } else {
            ++queued;
        }
    }
}

std::optional<ListQueue::QueuedList> ListQueue::pop() {
    std::uint64_t dropped = 0;
    {
        television::MutexLock const lock(mutex_);
        if (!lists_.empty()) {
            QueuedList queued = std::move(lists_.front());
            lists_.pop_front();
            bytes_ -= sizeOf(queued.list);
            return queued;
        }
        isDeliveryScheduled_ = false;
        dropped = std::exchange(droppedSinceEmpty_, 0);
    }
    if (dropped > 0) {
        reportError(("lists that a page did not take in time: " + std::to_string(dropped)).c_str());
    }
    return std::nullopt;
}

void ListQueue::close() {
    std::list<QueuedList> lists;  // Destroyed after the mutex is unlocked.
    television::MutexLock const lock(mutex_);
    isClosed_ = true;
    lists_.swap(lists);
    bytes_ = 0;
}

}  // namespace web
