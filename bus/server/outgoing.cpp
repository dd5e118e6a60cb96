#include "bus/server/outgoing.h"

#include <cerrno>
#include <cstdint>
#include <utility>

#include "bus/server/report.h"

namespace bus::server {

int Outgoing::send(Message message, std::size_t size) {
    Newest none;
    return send(std::move(message), size, none);
}

int Outgoing::send(Message message, std::size_t size, Newest& newest) {
    Waiting latest{std::move(message), size + MESSAGE_BYTES};
    if (auto const earlier = newest.waiting_.lock()) {
        *earlier = std::move(latest);
        return 0;
    }
    int const result = isWaiting() || !hasRoom() ? -ENOBUFS : sendNow(latest);
    if (result == -ENOBUFS) {
        waiting_.push_back(std::make_shared<Waiting>(std::move(latest)));
        newest.waiting_ = waiting_.back();
        return 0;
    }
    return result;
}

void Outgoing::sendWaiting() {
    while (isWaiting() && hasRoom()) {
        Waiting const& next = *waiting_.front();
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

bool Outgoing::hasRoom() {
    std::uint64_t unsent = 0;
    sd_bus_get_n_queued_write(bus_, &unsent);
    // Replies are among them, too: what is counted here may have been sent, but not the reverse.
    while (queued_.size() > unsent) {
        queuedBytes_ -= queued_.front();
        queued_.pop_front();
    }
    return queuedBytes_ < MOST_QUEUED_BYTES;
}

int Outgoing::sendNow(Waiting const& waiting) {
    int const result = sd_bus_send(bus_, waiting.message.get(), nullptr);
    if (result >= 0) {
        queued_.push_back(waiting.size);
        queuedBytes_ += waiting.size;
    }
    return result;
}

}  // namespace bus::server
