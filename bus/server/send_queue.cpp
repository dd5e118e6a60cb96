#include "bus/server/send_queue.h"

#include <cassert>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "bus/server/report.h"

namespace bus::server {

int SendQueue::send(Message message, std::size_t size) {
    ReplaceableMessage none;
    return sendOrReplace(std::move(message), size, none);
}

int SendQueue::sendOrReplace(Message message, std::size_t size, ReplaceableMessage& replaceable) {
    QueuedMessage next{std::move(message), size + MESSAGE_OVERHEAD};
    if (auto const earlier = replaceable.queued_.lock()) {
        *earlier = std::move(next);
        return 0;
    }
    int const result = isWaiting() || !hasSdBusQueueRoom() ? -ENOBUFS : sendNow(next);
    if (result == -ENOBUFS) {
        waiting_.push_back(std::make_shared<QueuedMessage>(std::move(next)));
        replaceable.queued_ = waiting_.back();
        return 0;
    }
    return result;
}

void SendQueue::sendWaiting() {
    while (isWaiting() && hasSdBusQueueRoom()) {
        QueuedMessage const& next = *waiting_.front();
        int const result = sendNow(next);
        if (result == -ENOBUFS) {
            return;
        }
        if (result < 0) {
            printObjectError(sd_bus_message_get_path(next.message.get()),
                             "a message cannot be sent: " + reasonOf(result));
        }
        waiting_.pop_front();
    }
}

bool SendQueue::hasSdBusQueueRoom() {
    std::uint64_t unsent = 0;
    sd_bus_get_n_queued_write(bus_, &unsent);
    // `unsent` also counts messages that do not come from this class, for example replies. Therefore the loop below may
    // leave sizes of messages that sd-bus has sent. The loop never removes the size of a message that sd-bus has not
    // sent.
    while (sdBusQueueSizes_.size() > unsent) {
        assert(sdBusQueueBytes_ >= sdBusQueueSizes_.front());
        sdBusQueueBytes_ -= sdBusQueueSizes_.front();
        sdBusQueueSizes_.pop_front();
    }
    return sdBusQueueBytes_ < SD_BUS_QUEUE_FULL_BYTES;
}

int SendQueue::sendNow(QueuedMessage const& queued) {
    // The size is stored first. If this allocation fails, the message is not sent.
    sdBusQueueSizes_.push_back(queued.sizeWithOverhead);
    if (int const result = sd_bus_send(bus_, queued.message.get(), nullptr); result < 0) {
        sdBusQueueSizes_.pop_back();
        return result;
    }
    sdBusQueueBytes_ += queued.sizeWithOverhead;
    return 0;
}

}  // namespace bus::server
