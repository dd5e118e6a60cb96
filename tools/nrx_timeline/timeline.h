#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace nrx_timeline {

/// The position of an event: its row among all events, and its time in microseconds. In a log without stamps, the
/// number of the event's line replaces the time.
struct EventPosition {
    std::size_t eventIndex;
    std::int64_t microsecondsOrLine;
};

/// A traced operation from its entry to its exit.
struct Slice {
    std::string operation;
    std::string sourceLocation;
    std::size_t depth;  ///< The number of operations around this operation in its lane.
    EventPosition begin;
    EventPosition end;
    bool hasExit;         ///< Whether the log has the line of the exit.
    std::string key{};    ///< The key in the messages within the operation, or empty.
    std::string value{};  ///< The value in these messages, or empty. A list is written as words, one for each element.
};

/// A message, or the exit of an operation whose entry is not in the log.
struct Message {
    std::string text;
    std::string sourceLocation;
    std::size_t depth;
    EventPosition position;
    bool isError;
};

/// The operations and messages of one thread in their order. Times do not decrease.
struct Lane {
    int thread;
    std::string name;
    std::vector<Slice> slices;
    std::vector<Message> messages;
};

struct Timeline {
    std::vector<Lane> lanes;  ///< Ordered by their first lines.
    bool hasTimestamps = false;
    std::vector<std::int64_t> eventTimes;  ///< The time of each row.
    std::int64_t begin = 0;                ///< The earliest time.
    EventPosition end{};                   ///< `eventIndex` is the number of rows, and the time is the latest time.
    std::size_t lineCount = 0;
    std::size_t skippedLineCount = 0;  ///< The number of lines that are incomplete or not the library's.
};

/// Lays out a log. If any line has a stamp, lines without a stamp are skipped as incomplete.
Timeline readTimeline(std::istream& log);

}  // namespace nrx_timeline
