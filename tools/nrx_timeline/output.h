#pragma once

#include <ostream>

#include "tools/nrx_timeline/timeline.h"

namespace nrx_timeline {

/// As trace events, which trace viewers open: JSON in ASCII characters that are printable.
void writeTraceEvents(Timeline const& timeline, std::ostream& output);

/// As a picture: SVG that needs nothing else and runs nothing. Time goes down, line by line of the log.
void writePicture(Timeline const& timeline, std::ostream& output);

}  // namespace nrx_timeline
