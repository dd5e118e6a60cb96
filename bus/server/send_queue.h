#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <deque>
#include <memory>

#include "bus/protocol/message.h"

namespace bus::server {

/// Sends messages in their order. While the bus reads none, at most `MAX_CONNECTION_BYTES` of them are in sd-bus's own
/// queue, and the others wait here. Used on the loop's thread.
class SendQueue {
    struct QueuedMessage {
        Message message;
        std::size_t size;
    };

public:
    /// What a message takes in memory besides its contents, approximately.
    static constexpr std::size_t MESSAGE_OVERHEAD = std::size_t{4} * 1024;
    static constexpr std::size_t MAX_CONNECTION_BYTES = std::size_t{8} * 1024 * 1024;

    /// Refers to the last message of one series while this message waits.
    class LatestMessage {
        friend SendQueue;
        std::weak_ptr<QueuedMessage> queued_;
    };

    /// The bus outlives the queue.
    explicit SendQueue(sd_bus* bus) : bus_(bus) {}

    [[nodiscard]] sd_bus* bus() const { return bus_; }

    /// Sends a message whose contents have so many bytes, now or later. Returns what `sd_bus_send` returns.
    int send(Message message, std::size_t size);
    /// The same for a message that replaces the last message of its series if that one still waits.
    int send(Message message, std::size_t size, LatestMessage& latest);

    /// Sends waiting messages while sd-bus's queue has room. To be called when the connection may have sent some.
    void sendWaiting();
    [[nodiscard]] bool isWaiting() const { return !waiting_.empty(); }

private:
    [[nodiscard]] bool hasRoom();
    int sendNow(QueuedMessage const& queued);

    sd_bus* const bus_;
    std::deque<std::size_t> connectionSizes_;  ///< Of the messages in sd-bus's queue, the newest last.
    std::size_t connectionBytes_ = 0;
    std::deque<std::shared_ptr<QueuedMessage>> waiting_;
};

}  // namespace bus::server
