#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "television/mutex.h"
#include "web/list_type.h"

namespace web {

/// The JSON text of a list of strings. All documents that receive the list share the text.
using ListText = std::shared_ptr<std::string const>;

/// The lists that wait for one document, in the order of their arrival.
///
/// The delivery thread pushes lists, and the main thread pops lists. If a new list does not fit into `MAX_BYTES`, the
/// oldest lists of the new list's type are dropped. The newest list of each type is always kept. The log gets one line
/// at the first drop, and one line with the number of dropped lists when the queue is empty again. A later drop begins
/// again with a line.
class ListQueue {
public:
    /// The bound for the bytes of all JSON texts plus `LIST_OVERHEAD_BYTES` for each list.
    static constexpr std::size_t MAX_BYTES = std::size_t{16} << 20U;
    static constexpr std::size_t LIST_OVERHEAD_BYTES = 128;

    struct QueuedList {
        ListType type;
        ListText list;
    };

    /// `push` calls `scheduleDelivery`, with no lock held, for the first list, and for the first list after each `pop`
    /// that found the queue empty.
    explicit ListQueue(std::function<void()> scheduleDelivery) : scheduleDelivery_(std::move(scheduleDelivery)) {}

    /// Selects whether `push` accepts lists of the type. At first `push` accepts no list.
    void setListening(ListType type, bool isOn);
    [[nodiscard]] bool isListening(ListType type) const;

    void push(ListType type, ListText const& list);

    /// Returns nothing if the queue is empty.
    std::optional<QueuedList> pop();

    /// Drops the waiting lists and all lists that are pushed later.
    void close();

private:
    static std::size_t sizeOf(ListText const& list) { return list->size() + LIST_OVERHEAD_BYTES; }
    /// Drops the oldest lists of the type until a list of `size` bytes fits.
    void dropOldestOfTypeToFit(ListType type, std::size_t size) NRX_REQUIRES(mutex_);

    std::function<void()> const scheduleDelivery_;
    mutable television::Mutex mutex_;
    std::list<QueuedList> lists_ NRX_GUARDED_BY(mutex_);
    std::size_t bytes_ NRX_GUARDED_BY(mutex_) = 0;
    /// The number of lists dropped since `pop` last found the queue empty.
    std::uint64_t droppedSinceEmpty_ NRX_GUARDED_BY(mutex_) = 0;
    PerList<bool> isListening_ NRX_GUARDED_BY(mutex_){};
    bool isDeliveryScheduled_ NRX_GUARDED_BY(mutex_) = false;
    bool isClosed_ NRX_GUARDED_BY(mutex_) = false;
};

}  // namespace web
