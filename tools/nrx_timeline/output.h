#pragma once

#include <ostream>

#include "tools/nrx_timeline/timeline.h"

namespace nrx_timeline {

/// Writes trace events for trace viewers. The output is JSON in printable ASCII characters.
void writeTraceEvents(Timeline const& timeline, std::ostream& output);

/// Writes a picture. The output is self-contained SVG without scripts. Time runs downwards, with one row for each line
/// of the log.
void writeSvg(Timeline const& timeline, std::ostream& output);

}  // namespace nrx_timeline
