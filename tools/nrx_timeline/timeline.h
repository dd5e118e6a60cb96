#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace nrx_timeline {

/// Where an event is: its place among all that were read, and its time in microseconds. Without stamps the time is the
/// number of the line.
struct Moment {
    std::size_t row;
    std::int64_t time;
};

/// A traced operation from its entry to its end.
struct Slice {
    std::string operation;
    std::string place;
    std::size_t depth;  ///< Of how many others it was called, in its lane.
    Moment begin;
    Moment end;
    bool left;  ///< Or the line that says so is not in the log.
};

/// A message; or the end of an operation whose beginning is not in the log.
struct Mark {
    std::string text;
    std::string place;
    std::size_t depth;
    Moment moment;
};

/// What one thread did, in its order; times do not go back.
struct Lane {
    int thread;
    std::string name;
    std::vector<Slice> slices;
    std::vector<Mark> marks;
};

struct Timeline {
    std::vector<Lane> lanes;  ///< In the order of their first lines.
    bool stamped = false;
    std::vector<std::int64_t> times;  ///< Of each row.
    std::int64_t begin = 0;           ///< The earliest of them.
    Moment end{};                     ///< The row after all, and the latest time.
    std::size_t lines = 0;
    std::size_t skipped = 0;  ///< Those of the lines that are no whole lines of the library's log.
};

/// Lays out a log. As soon as one line has a stamp, those without one are taken for cut.
Timeline readTimeline(std::istream& log);

}  // namespace nrx_timeline
