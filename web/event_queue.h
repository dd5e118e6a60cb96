#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "television/mutex.h"
#include "web/list_type.h"

namespace web {

/// A list as the JSON text of its array, shared by the documents that receive it.
using ListText = std::shared_ptr<std::string const>;

/// The lists that wait for one document, in the order in which they came.
///
/// The delivery thread pushes and the main thread pops. What waits is bounded: above the bound a list displaces the
/// oldest lists of its type, and the newest list of each type is always kept. One line of the log says that lists are
/// dropped, another one how many were, once none waits any more.
class EventQueue {
public:
    /// The bound: the bytes of the JSON texts, and `OVERHEAD` for each.
    static constexpr std::size_t LIMIT = std::size_t{16} << 20U;
    static constexpr std::size_t OVERHEAD = 128;

    struct Event {
        ListType type;
        ListText list;
    };

    /// `wake` is called, on the thread that pushes and with no lock held, when the first list waits.
    explicit EventQueue(std::function<void()> wake) : wake_(std::move(wake)) {}

    /// Whether lists of the type are taken; at first none are.
    void setListening(ListType type, bool isOn);
    [[nodiscard]] bool isListening(ListType type) const;

    void push(ListType type, ListText const& list);

    /// Nothing when no list waits; the next list to be pushed then wakes again.
    std::optional<Event> pop();

    /// Drops what waits, and whatever is pushed later.
    void close();
    [[nodiscard]] bool isClosed() const;

private:
    static std::size_t sizeOf(Event const& event) { return event.list->size() + OVERHEAD; }
    /// Drops old lists of the type until a list of `size` bytes keeps the bound.
    void makeRoom(ListType type, std::size_t size) NRX_REQUIRES(mutex_);

    std::function<void()> const wake_;
    mutable television::Mutex mutex_;
    std::deque<Event> events_ NRX_GUARDED_BY(mutex_);
    std::size_t bytes_ NRX_GUARDED_BY(mutex_) = 0;
    std::uint64_t droppedCount_ NRX_GUARDED_BY(mutex_) = 0;  // Since the queue was empty.
    PerList<bool> isListening_ NRX_GUARDED_BY(mutex_){};
    bool isWoken_ NRX_GUARDED_BY(mutex_) = false;
    bool isClosed_ NRX_GUARDED_BY(mutex_) = false;
};

}  // namespace web
