#include <nlohmann/json.hpp>

#include "tools/nrx_timeline/output.h"

namespace nrx_timeline {

namespace {

using nlohmann::json;

/// Writes the list's elements one by one, so that it never is in memory as a whole.
class List {
public:
    explicit List(std::ostream& output) : output_(output) {
        output_ << "{\"displayTimeUnit\": \"ms\", \"traceEvents\": [";
    }
    List(List const&) = delete;
    List& operator=(List const&) = delete;
    ~List() { output_ << "\n]}\n"; }

    void add(json const& event) {
        output_ << (first_ ? "\n" : ",\n") << event.dump(-1, ' ', true, json::error_handler_t::replace);
        first_ = false;
    }

private:
    std::ostream& output_;
    bool first_ = true;
};

/// What all events have.
json event(char const* phase, std::string const& name, Lane const& lane, std::int64_t time) {
    return {{"ph", phase}, {"name", name}, {"pid", 1}, {"tid", lane.thread}, {"ts", time}};
}

}  // namespace

void writeTraceEvents(Timeline const& timeline, std::ostream& output) {
    List list(output);
    for (Lane const& lane : timeline.lanes) {
        json name = event("M", "thread_name", lane, 0);
        name["args"] = {{"name", lane.name}};
        list.add(name);
        for (Slice const& slice : lane.slices) {
            json whole = event("X", slice.operation, lane, slice.begin.time);
            whole["dur"] = slice.end.time - slice.begin.time;
            whole["args"] = {{"place", slice.place}, {"left", slice.left}};
            list.add(whole);
        }
        for (Mark const& mark : lane.marks) {
            json instant = event("i", mark.text, lane, mark.moment.time);
            instant["s"] = "t";  // Of its thread alone.
            instant["args"] = {{"place", mark.place}};
            list.add(instant);
        }
    }
}

}  // namespace nrx_timeline
