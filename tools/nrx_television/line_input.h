#pragma once

#include <systemd/sd-event.h>

#include <deque>
#include <optional>
#include <string>

#include "bus/protocol/message.h"

namespace nrx_television {

/// The lines of a file, a pipe or a terminal, which a loop reads when they come.
class LineInput {
public:
    /// Belongs to the loop from now on. The descriptor stays the caller's. Throws `std::system_error`.
    LineInput(sd_event* loop, int descriptor);
    LineInput(LineInput const&) = delete;
    LineInput& operator=(LineInput const&) = delete;
    ~LineInput() = default;

    [[nodiscard]] bool hasLine() const { return !lines_.empty(); }
    /// The next line that has come, without its end.
    std::optional<std::string> takeLine();
    /// The number of the line that was taken last.
    [[nodiscard]] int number() const { return number_; }

private:
    static int handleReadable(sd_event_source* source, int descriptor, unsigned int events, void* input) noexcept;
    static int handleTurn(sd_event_source* source, void* input) noexcept;
    /// Takes in some, and stops at the end.
    int read() noexcept;

    int const descriptor_;
    std::string begun_;  ///< A line of which the end has not come.
    std::deque<std::string> lines_;
    int number_ = 0;
    bus::EventSource source_;
};

}  // namespace nrx_television
