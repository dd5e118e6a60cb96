#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"

namespace orvane::diagnostics {

namespace {

/// Writes one trace line when the platform admits it. A failure of the platform's own ends here: a lost line must
/// change nothing, least of all in a destructor or while an exception unwinds.
void writeTrace(bool entered, char const* function, char const* file, int line) noexcept {
    try {
        DebugLevelRecord record = levelRecord(LOG_DEBUG);
        if (debugCheckLevel(&record) != 0) {
            debugOutput(entered ? "[TRACE -> %s(IN)] %s:%d:%s() \n" : "[TRACE <- %s(OUT)] %s:%d:%s() \n", function,
                        sourceBaseName(file), line, function);
        }
    } catch (...) {
    }
}

char const* baseName(char const* path) noexcept {
    try {
        return sourceBaseName(path);
    } catch (...) {  // Likewise.
        return path;
    }
}

}  // namespace

TraceScope::TraceScope(char const* function, char const* path, int line) noexcept
    : function_(function), file_(baseName(path)), line_(line) {
    writeTrace(true, function_, file_, line_);
}

TraceScope::~TraceScope() { writeTrace(false, function_, file_, line_); }

}  // namespace orvane::diagnostics
