#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <deque>
#include <memory>

#include "bus/protocol/message.h"

namespace bus::server {

/// Sends messages in their order. While the bus takes none, at most `MOST_QUEUED_BYTES` of them are handed to the
/// connection, and the rest waits here. Used on the thread of the loop.
class Outgoing {
    struct Waiting {
        Message message;
        std::size_t size;
    };

public:
    /// What a message takes in memory besides its contents, about.
    static constexpr std::size_t MESSAGE_BYTES = std::size_t{4} * 1024;
    static constexpr std::size_t MOST_QUEUED_BYTES = std::size_t{8} * 1024 * 1024;

    /// The message of a kind that waits, if one does.
    class Newest {
        friend Outgoing;
        std::weak_ptr<Waiting> waiting_;
    };

    /// The bus outlives it.
    explicit Outgoing(sd_bus* bus) : bus_(bus) {}

    [[nodiscard]] sd_bus* bus() const { return bus_; }

    /// Sends a message whose contents have so many bytes, now or later. Returns what `sd_bus_send` does.
    int send(Message message, std::size_t size);
    /// The same. When an earlier message of the kind waits, this one takes its place.
    int send(Message message, std::size_t size, Newest& newest);

    /// Sends of those that wait what there is room for: to be called when the connection may have sent some.
    void sendWaiting();
    [[nodiscard]] bool isWaiting() const { return !waiting_.empty(); }

private:
    [[nodiscard]] bool hasRoom();
    int sendNow(Waiting const& waiting);

    sd_bus* const bus_;
    std::deque<std::size_t> queued_;  ///< The sizes of what the connection has not sent yet, the newest last.
    std::size_t queuedBytes_ = 0;
    std::deque<std::shared_ptr<Waiting>> waiting_;
};

}  // namespace bus::server
