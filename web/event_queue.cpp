#include "web/event_queue.h"

#include <cassert>
#include <utility>

#include "web/log.h"

namespace web {

void EventQueue::setListening(ListType type, bool isOn) {
    television::MutexLock const lock(mutex_);
    isListening_.at(indexOf(type)) = isOn;
}

bool EventQueue::isListening(ListType type) const {
    television::MutexLock const lock(mutex_);
    return isListening_.at(indexOf(type));
}

void EventQueue::push(ListType type, ListText const& list) {
    bool isWakeNeeded = false;
    bool isFirstDrop = false;
    {
        television::MutexLock const lock(mutex_);
        if (isClosed_ || !isListening_.at(indexOf(type))) {
            return;
        }
        bool const hadDropped = droppedCount_ > 0;
        makeRoom(type, sizeOf(list));
        isFirstDrop = !hadDropped && droppedCount_ > 0;
        events_.push_back({type, list});
        bytes_ += sizeOf(list);
        isWakeNeeded = !std::exchange(isWoken_, true);
    }
    if (isFirstDrop) {
        report("a page does not take its lists in time: older lists give way to newer ones");
    }
    if (isWakeNeeded) {
        try {
            wake_();
        } catch (...) {
            television::MutexLock const lock(mutex_);
            isWoken_ = false;  // The next push calls `wake` again.
            throw;
        }
    }
}

void EventQueue::makeRoom(ListType type, std::size_t size) {
    for (auto event = events_.begin(); event != events_.end() && bytes_ + size > LIMIT;) {
        if (event->type == type) {
            assert(bytes_ >= sizeOf(event->list));
            bytes_ -= sizeOf(event->list);
            event = events_.erase(event);
            ++droppedCount_;
        } else {
            ++event;
        }
    }
}

std::optional<EventQueue::Event> EventQueue::pop() {
    std::uint64_t dropped = 0;
    {
        television::MutexLock const lock(mutex_);
        if (!events_.empty()) {
            Event event = std::move(events_.front());
            events_.pop_front();
            bytes_ -= sizeOf(event.list);
            return event;
        }
        isWoken_ = false;
        dropped = std::exchange(droppedCount_, 0);
    }
    if (dropped > 0) {
        report(("lists that a page did not take in time: " + std::to_string(dropped)).c_str());
    }
    return std::nullopt;
}

void EventQueue::close() {
    std::list<Event> events;  // Destroyed after the mutex is unlocked.
    television::MutexLock const lock(mutex_);
    isClosed_ = true;
    events_.swap(events);
    bytes_ = 0;
}

}  // namespace web
