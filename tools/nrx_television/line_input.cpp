#include "tools/nrx_television/line_input.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace nrx_television {

LineInput::LineInput(sd_event* loop, int descriptor) : descriptor_(descriptor) {
    auto const addSource = [&] {
        int const result = bus::assignFromOutParameter(source_, [&](auto source) {
            return sd_event_add_io(loop, source, descriptor, EPOLLIN, handleReadable, this);
        });
        if (result != -EPERM) {
            return result;
        }
        // Uses a deferred source for a regular file, which epoll does not accept and which is always readable.
        NRX_TRY(bus::assignFromOutParameter(
            source_, [&](auto source) { return sd_event_add_defer(loop, source, handleRegularFile, this); }));
        return sd_event_source_set_enabled(source_.get(), SD_EVENT_ON);
    };
    if (int const result = addSource(); result < 0) {
        throw std::system_error(-result, std::generic_category(), "standard input");
    }
}

std::optional<std::string> LineInput::takeLineIfAny() {
    if (lines_.empty()) {
        return {};
    }
    std::string line = std::move(lines_.front());
    lines_.pop_front();
    ++lineNumber_;
    return line;
}

int LineInput::handleReadable(sd_event_source* /*source*/, int /*descriptor*/, unsigned int /*events*/,
                              void* input) noexcept {
    return static_cast<LineInput*>(input)->readAvailableLines();
}

int LineInput::handleRegularFile(sd_event_source* /*source*/, void* input) noexcept {
    return static_cast<LineInput*>(input)->readAvailableLines();
}

int LineInput::readAvailableLines() noexcept try {
    std::array<char, 4096> buffer{};
    ssize_t const size = ::read(descriptor_, buffer.data(), buffer.size());
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return 0;
    }
    if (size <= 0) {
        sd_event_source_set_enabled(source_.get(), SD_EVENT_OFF);
        if (!partialLine_.empty()) {
            lines_.push_back(std::exchange(partialLine_, {}));
        }
        return 0;
    }
    std::string_view text(buffer.data(), static_cast<std::size_t>(size));
    for (auto end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        lines_.push_back(std::exchange(partialLine_, {}).append(text.substr(0, end)));
        text.remove_prefix(end + 1);
    }
    partialLine_ += text;
    return 0;
} catch (...) {  // Memory ran out. After a negative result, the loop disables the source.
    return -ENOMEM;
}

}  // namespace nrx_television
