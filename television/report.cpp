#include "television/report.h"

#include <cstdint>

#include "base_utils/debug_log.h"

namespace television {

void report(char const* tag, char const* line) noexcept {
    constexpr std::uint32_t SEVERITY_ERROR = 1000;
    try {  // The program's log sink may throw.
        DebugLevelRecord record{SEVERITY_ERROR, 0, 0};
        if (debugCheckLevel(&record) != 0) {
            debugOutput("ERROR [%s] %s\n", tag, line);
        }
    } catch (...) {
    }
}

}  // namespace television
