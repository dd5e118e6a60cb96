#include "tools/nrx_timeline/timeline.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

#include "television/printable.h"
#include "tools/nrx_timeline/log_line.h"
#include "tools/nrx_timeline/meaning.h"

namespace nrx_timeline {

namespace {

/// Builds one lane, line by line.
class LaneBuilder {
public:
    explicit LaneBuilder(int thread) : lane_{thread, "thread " + std::to_string(thread), {}, {}} {}

    /// Adds a line. If the lane has a later time than `position`, sets the time of `position` to the latest time in the
    /// lane.
    void add(LogLine line, EventPosition& position) {
        position.microsecondsOrLine = std::max(position.microsecondsOrLine, latest_);
        latest_ = position.microsecondsOrLine;
        switch (line.kind) {
            case LogLine::Kind::enter:
                addRole(line.operation);
                ++openByName_[line.operation];
                lane_.slices.push_back(
                    {std::move(line.operation), std::move(line.sourceLocation), open_.size(), position, {}, false});
                open_.push_back(lane_.slices.size() - 1);
                break;
            case LogLine::Kind::leave:
                leave(std::move(line), position);
                break;
            case LogLine::Kind::message:
                addRole(line.operation);
                addKeyAndValue(keyAndValueOf(line));
                mark(line.operation + "(): " + line.messageText, std::move(line.sourceLocation), position,
                     isError(line.messageText));
                break;
        }
    }

    /// Closes the open slices at the end of the log.
    Lane finish(EventPosition const& end) {
        while (!open_.empty()) {
            close(end);
        }
        if (roles_ == std::set{ThreadRole::caller} || roles_ == std::set{ThreadRole::delivery}) {
            lane_.name = (roles_.contains(ThreadRole::caller) ? "caller, " : "delivery, ") + lane_.name;
        }
        return std::move(lane_);
    }

private:
    void mark(std::string text, std::string sourceLocation, EventPosition const& position, bool isError = false) {
        lane_.messages.push_back({std::move(text), std::move(sourceLocation), open_.size(), position, isError});
    }

    /// Adds the operation's role to the roles of the lane if the role is known and no operation is open.
    void addRole(std::string const& operation) {
        if (ThreadRole const role = threadRoleOf(operation); role != ThreadRole::unknown && open_.empty()) {
            roles_.insert(role);
        }
    }

    /// Adds the key and the value of a message to the innermost open slices.
    void addKeyAndValue(KeyAndValue const& keyAndValue) {
        constexpr std::size_t MOST_SLICES = 3;
        constexpr std::size_t MOST_BYTES = 500;
        for (std::size_t depth = open_.size(); depth > 0 && open_.size() - depth < MOST_SLICES; --depth) {
            Slice& slice = lane_.slices[open_[depth - 1]];
            if (keyAndValue.key && slice.key.empty()) {
                slice.key = *keyAndValue.key;
            }
            if (keyAndValue.value && slice.value.size() < MOST_BYTES) {
                slice.value += (slice.value.empty() ? "" : " ") + television::typed(std::string(*keyAndValue.value));
            }
        }
    }

    /// Closes the innermost open slice.
    Slice& close(EventPosition const& position) {
        Slice& slice = lane_.slices[open_.back()];
        open_.pop_back();
        --openByName_[slice.operation];
        slice.end = position;
        return slice;
    }

    /// Closes the innermost open slice of the operation, and the slices inside this slice, whose exits are not in
    /// the log. The count by name avoids a search if no slice of the operation is open.
    void leave(LogLine line, EventPosition const& position) {
        auto const open = openByName_.find(line.operation);
        if (open == openByName_.end() || open->second == 0) {
            mark(line.operation + "() left, entered before the log", std::move(line.sourceLocation), position);
            return;
        }
        for (bool found = false; !found;) {
            Slice& slice = close(position);
            found = slice.operation == line.operation;
            slice.hasExit = found;
        }
    }

    Lane lane_;
    std::vector<std::size_t> open_;
    std::unordered_map<std::string, std::size_t> openByName_;
    std::set<ThreadRole> roles_;  ///< The thread's roles according to its outermost operations, except `unknown`.
    std::int64_t latest_ = 0;
};

}  // namespace

Timeline readTimeline(std::istream& log) {
    Timeline timeline;
    std::vector<std::pair<LogLine, std::int64_t>> lines;  // The lines with their numbers.
    for (std::string text; std::getline(log, text);) {
        ++timeline.lineCount;
        if (std::optional<LogLine> line = parseLine(text)) {
            timeline.hasTimestamps = timeline.hasTimestamps || line->stamp;
            lines.emplace_back(std::move(*line), timeline.lineCount);
        }
    }
    if (timeline.hasTimestamps) {
        std::erase_if(lines, [](auto const& line) { return !line.first.stamp; });
    }
    timeline.skippedLineCount = timeline.lineCount - lines.size();

    std::vector<LaneBuilder> lanes;
    std::unordered_map<int, std::size_t> laneOfThread;
    for (auto& [line, number] : lines) {
        Timestamp const stamp = line.stamp.value_or(Timestamp{number, 0});
        auto const [lane, isNew] = laneOfThread.emplace(stamp.thread, lanes.size());
        if (isNew) {
            lanes.emplace_back(stamp.thread);
        }
        EventPosition position{timeline.eventTimes.size(), stamp.microseconds};
        lanes[lane->second].add(std::move(line), position);
        timeline.eventTimes.push_back(position.microsecondsOrLine);
    }
    if (!timeline.eventTimes.empty()) {
        auto const [first, last] = std::minmax_element(timeline.eventTimes.begin(), timeline.eventTimes.end());
        timeline.begin = *first;
        timeline.end = {timeline.eventTimes.size(), *last};
    }
    for (LaneBuilder& lane : lanes) {
        timeline.lanes.push_back(lane.finish(timeline.end));
    }
    if (!timeline.hasTimestamps && !lanes.empty()) {
        timeline.lanes.front().name = "all threads";
    }
    return timeline;
}

}  // namespace nrx_timeline
