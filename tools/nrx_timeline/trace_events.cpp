#include <nlohmann/json.hpp>

#include "tools/nrx_timeline/output.h"

namespace nrx_timeline {

namespace {

using nlohmann::json;

/// Makes an event with the members that all events have.
json event(char const* phase, std::string const& name, Lane const& lane, std::int64_t time, json const& arguments) {
    return {{"ph", phase}, {"name", name}, {"pid", 1}, {"tid", lane.thread}, {"ts", time}, {"args", arguments}};
}

}  // namespace

void writeTraceEvents(Timeline const& timeline, std::ostream& output) {
    char const* separator = "\n";
    auto const add = [&](json const& event) {  // Writes the event now, so that memory never holds all events.
        output << separator << event.dump(-1, ' ', true, json::error_handler_t::replace);
        separator = ",\n";
    };
    output << "{\"displayTimeUnit\": \"ms\", \"traceEvents\": [";
    for (Lane const& lane : timeline.lanes) {
        add(event("M", "thread_name", lane, 0, {{"name", lane.name}}));
        for (Slice const& slice : lane.slices) {
            json arguments{{"place", slice.sourceLocation}, {"left", slice.hasExit}};
            for (auto const& [name, detail] : {std::pair("key", slice.key), std::pair("value", slice.value)}) {
                if (!detail.empty()) {
                    arguments[name] = detail;
                }
            }
            json whole = event("X", slice.operation, lane, slice.begin.microsecondsOrLine, arguments);
            whole["dur"] = slice.end.microsecondsOrLine - slice.begin.microsecondsOrLine;
            add(whole);
        }
        for (Message const& mark : lane.messages) {
            json instant =
                event("i", mark.text, lane, mark.position.microsecondsOrLine, {{"place", mark.sourceLocation}});
            if (mark.isError) {
                instant["cname"] = "terrible";  // Red in trace viewers.
            }
            instant["s"] = "t";  // The scope is the thread.
            add(instant);
        }
    }
    output << "\n]}\n";
}

}  // namespace nrx_timeline
