#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"

namespace orvane::diagnostics {

namespace {

/// Runs a statement that writes a log line. If the platform throws an exception, catches the exception, and the line is
/// lost. The caller must not notice the failure, above all in a destructor or while an exception unwinds the stack.
template <typename Statement>
void lossy(Statement const& statement) noexcept {
    try {
        statement();
    } catch (...) {
    }
}

/// Writes one trace line if the platform admits it.
void writeTrace(bool entered, char const* function, char const* file, int line) {
    DebugLevelRecord record = levelRecord(LOG_DEBUG);
    if (debugCheckLevel(&record) != 0) {
        debugOutput(entered ? "[TRACE -> %s(IN)] %s:%d:%s() \n" : "[TRACE <- %s(OUT)] %s:%d:%s() \n", function,
                    sourceBaseName(file), line, function);
    }
}

}  // namespace

TraceScope::TraceScope(char const* function, char const* path, int line) noexcept
    : function_(function), file_(path), line_(line) {
    lossy([this] {
        file_ = sourceBaseName(file_);
        writeTrace(true, function_, file_, line_);
    });
}

TraceScope::~TraceScope() {
    lossy([this] { writeTrace(false, function_, file_, line_); });
}

}  // namespace orvane::diagnostics
