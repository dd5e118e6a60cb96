#include "bus/server/send_queue.h"

#include <cassert>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "bus/server/report.h"

namespace bus::server {

int SendQueue::send(Message message, std::size_t size) {
    LatestMessage none;
    return send(std::move(message), size, none);
}

int SendQueue::send(Message message, std::size_t size, LatestMessage& latest) {
    QueuedMessage next{std::move(message), size + MESSAGE_OVERHEAD};
    if (auto const earlier = latest.queued_.lock()) {
        *earlier = std::move(next);
        return 0;
    }
    int const result = isWaiting() || !hasRoom() ? -ENOBUFS : sendNow(next);
    if (result == -ENOBUFS) {
        waiting_.push_back(std::make_shared<QueuedMessage>(std::move(next)));
        latest.queued_ = waiting_.back();
        return 0;
    }
    return result;
}

void SendQueue::sendWaiting() {
    while (isWaiting() && hasRoom()) {
        QueuedMessage const& next = *waiting_.front();
        int const result = sendNow(next);
        if (result == -ENOBUFS) {
            return;
        }
        if (result < 0) {
            reportObject(sd_bus_message_get_path(next.message.get()), "a message cannot be sent: " + reasonOf(result));
        }
        waiting_.pop_front();
    }
}

bool SendQueue::hasRoom() {
    std::uint64_t unsent = 0;
    sd_bus_get_n_queued_write(bus_, &unsent);
    // `unsent` also counts replies, so `connectionSizes_` may keep some sent messages. It has all unsent messages.
    while (connectionSizes_.size() > unsent) {
        assert(connectionBytes_ >= connectionSizes_.front());
        connectionBytes_ -= connectionSizes_.front();
        connectionSizes_.pop_front();
    }
    return connectionBytes_ < MAX_CONNECTION_BYTES;
}

int SendQueue::sendNow(QueuedMessage const& queued) {
    connectionSizes_.push_back(queued.size);  // First: what cannot be counted is not sent.
    if (int const result = sd_bus_send(bus_, queued.message.get(), nullptr); result < 0) {
        connectionSizes_.pop_back();
        return result;
    }
    connectionBytes_ += queued.size;
    return 0;
}

}  // namespace bus::server
