#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <deque>
#include <memory>

#include "bus/protocol/message.h"

namespace bus::server {

/// Sends messages in order. While the bus reads no messages, sd-bus's own queue takes messages until it holds at least
/// `SD_BUS_QUEUE_FULL_BYTES`, and further messages wait here. Used on the loop's thread.
class SendQueue {
    struct QueuedMessage {
        Message message;
        std::size_t sizeWithOverhead;
    };

public:
    /// A message's approximate size in memory without its contents.
    static constexpr std::size_t MESSAGE_OVERHEAD = std::size_t{4} * 1024;
    /// From this size on, sd-bus's own queue counts as full. The size of a message includes `MESSAGE_OVERHEAD`.
    static constexpr std::size_t SD_BUS_QUEUE_FULL_BYTES = std::size_t{8} * 1024 * 1024;

    /// Refers to the last message of a series while that message waits. In a series, for example the messages with the
    /// values of one property, only the last message matters.
    class ReplaceableMessage {
        friend SendQueue;
        std::weak_ptr<QueuedMessage> queued_;
    };

    /// The bus must outlive the queue.
    explicit SendQueue(sd_bus* bus) : bus_(bus) {}

    [[nodiscard]] sd_bus* bus() const { return bus_; }

    /// Sends a message now or later. `size` is the size of the contents. Returns 0 or a negative error number.
    int send(Message message, std::size_t size);
    /// Like `send`, for a message of a series. If the last message of the series still waits, the new message replaces
    /// the last message.
    int sendOrReplace(Message message, std::size_t size, ReplaceableMessage& replaceable);

    /// Sends waiting messages while sd-bus's queue has room. Must be called again whenever sd-bus may have sent
    /// messages.
    void sendWaiting();
    [[nodiscard]] bool isWaiting() const { return !waiting_.empty(); }

private:
    [[nodiscard]] bool hasSdBusQueueRoom();
    int sendNow(QueuedMessage const& queued);

    sd_bus* const bus_;
    std::deque<std::size_t> sdBusQueueSizes_;  ///< The sizes of the messages in sd-bus's queue, oldest first.
    std::size_t sdBusQueueBytes_ = 0;
    std::deque<std::shared_ptr<QueuedMessage>> waiting_;
};

}  // namespace bus::server
