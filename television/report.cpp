#include "television/report.h"

#include <cstdint>

#include "base_utils/debug_log.h"
#include "television/log.h"
#include "television/status.h"

namespace television {

namespace {

/// Calls `writeLine` if the log admits the severity. Ignores exceptions of the program's log sink.
template <typename Write>
void writeIfAdmitted(LogLevel severity, Write const& writeLine) noexcept {
    try {
        DebugLevelRecord record{static_cast<std::uint32_t>(severity), 0, 0};
        if (debugCheckLevel(&record) != 0) {
            writeLine();
        }
    } catch (...) {
    }
}

}  // namespace

void reportError(char const* tag, char const* line) noexcept {
    writeIfAdmitted(LogLevel::error, [=] { debugOutput("ERROR [%s] %s\n", tag, line); });
}

int reportRefusal(char const* operation, char const* key, int status, bool hasResult) noexcept {
    if (status != STATUS_OK || !hasResult) {
        writeIfAdmitted(LogLevel::debug,
                        [=] { debugOutput("DEBUG [TELEVISION] %s refused: %s, status %d\n", operation, key, status); });
    }
    return status;
}

}  // namespace television
