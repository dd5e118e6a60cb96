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
    sd_event_source* source = nullptr;
    int result = sd_event_add_io(loop, &source, descriptor, EPOLLIN, handleReadable, this);
    if (result == -EPERM) {  // A file, which is always readable and which the kernel does not wait for.
        result = sd_event_add_defer(loop, &source, handleTurn, this);
        result = result < 0 ? result : sd_event_source_set_enabled(source, SD_EVENT_ON);
    }
    source_.reset(source);
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "standard input");
    }
}

std::optional<std::string> LineInput::takeLine() {
    if (lines_.empty()) {
        return {};
    }
    std::string line = std::move(lines_.front());
    lines_.pop_front();
    ++number_;
    return line;
}

int LineInput::handleReadable(sd_event_source* /*source*/, int /*descriptor*/, unsigned int /*events*/,
                              void* input) noexcept {
    return static_cast<LineInput*>(input)->read();
}

int LineInput::handleTurn(sd_event_source* /*source*/, void* input) noexcept {
    return static_cast<LineInput*>(input)->read();
}

int LineInput::read() noexcept try {
    std::array<char, 4096> buffer{};
    ssize_t const size = ::read(descriptor_, buffer.data(), buffer.size());
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return 0;
    }
    if (size <= 0) {
        sd_event_source_set_enabled(source_.get(), SD_EVENT_OFF);
        if (!begun_.empty()) {
            lines_.push_back(std::exchange(begun_, {}));
        }
        return 0;
    }
    std::string_view text(buffer.data(), static_cast<std::size_t>(size));
    for (auto end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        lines_.push_back(std::exchange(begun_, {}).append(text.substr(0, end)));
        text.remove_prefix(end + 1);
    }
    begun_ += text;
    return 0;
} catch (...) {  // Without memory. The loop stops asking for more.
    return -ENOMEM;
}

}  // namespace nrx_television
