#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nrx_timeline {

/// The time and the thread of a line; see television/log.h.
struct Timestamp {
    std::int64_t microseconds;
    int thread;
};

/// The parts of one line of the log. The texts may contain any byte.
struct LogLine {
    enum class Kind { enter, leave, message };

    std::optional<Timestamp> stamp;
    Kind kind;
    std::string operation;
    std::string sourceLocation;  ///< Source file and line.
    std::string messageText;     ///< The text of a message. Empty for other lines.
};

/// Returns nothing unless the text is exactly one complete line of the library's log.
std::optional<LogLine> parseLine(std::string_view line);

}  // namespace nrx_timeline
