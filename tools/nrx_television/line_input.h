#pragma once

#include <systemd/sd-event.h>

#include <deque>
#include <optional>
#include <string>

#include "bus/protocol/message.h"

namespace nrx_television {

/// Reads the lines of a file, a pipe or a terminal in an event loop.
class LineInput {
public:
    /// Adds an event source to the loop. The caller continues to own the descriptor. Throws `std::system_error`.
    LineInput(sd_event* loop, int descriptor);
    LineInput(LineInput const&) = delete;
    LineInput& operator=(LineInput const&) = delete;
    ~LineInput() = default;

    [[nodiscard]] bool hasLine() const { return !lines_.empty(); }
    /// Removes and returns the next line, without its line feed. Returns nothing if no line is waiting.
    std::optional<std::string> takeLineIfAny();
    /// The number of the line that `takeLineIfAny` returned last. The first line has the number 1.
    [[nodiscard]] int lineNumber() const { return lineNumber_; }

private:
    static int handleReadable(sd_event_source* source, int descriptor, unsigned int events, void* input) noexcept;
    static int handleRegularFile(sd_event_source* source, void* input) noexcept;
    /// Reads available bytes and stores the lines that they complete. Disables the source at the end of the file and
    /// after an error.
    int readAvailableLines() noexcept;

    int const descriptor_;
    std::string partialLine_;  ///< The beginning of a line whose end has not been read.
    std::deque<std::string> lines_;
    int lineNumber_ = 0;
    bus::EventSource source_;
};

}  // namespace nrx_television
