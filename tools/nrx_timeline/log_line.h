#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nrx_timeline {

/// Of whom and when a line is; see television/log.h.
struct Stamp {
    std::int64_t microseconds;
    int thread;
};

/// One line of the log, taken apart. The texts are as they were found: nothing is known of what they hold.
struct LogLine {
    enum class Kind { enter, leave, message };

    std::optional<Stamp> stamp;
    Kind kind;
    std::string operation;
    std::string place;  ///< Source file and line.
    std::string text;   ///< Of a message.
};

/// Nothing when the line is not a whole line of the library's log and that alone.
std::optional<LogLine> parseLine(std::string_view line);

}  // namespace nrx_timeline
