#pragma once

#include <cstdint>

#include "base_utils/debug_log.h"

// The library's log statements. No public header may include this file, because the severity names collide with the
// macros of <syslog.h>.

namespace orvane::diagnostics {

/// A lower number is more severe.
enum LogLevel : std::uint32_t {
    LOG_CRITICAL = 1,
    LOG_ERROR = 1000,
    LOG_INFO = 4000,
    LOG_DEBUG = 5000,
};

/// The library's module number in the television's log.
inline constexpr std::uint32_t LOG_MODULE_CODE = 0x5F;

/// Returns a record of the severity. Each call of `debugCheckLevel` needs a new record, because the call may change the
/// record.
constexpr DebugLevelRecord levelRecord(LogLevel level) { return {LOG_MODULE_CODE << 16U | level, 0, 0}; }

/// Writes a trace line on entry to a traced operation and on every exit. Refers to static data only, so the traced
/// object may already be destroyed when the scope ends.
class TraceScope {
public:
    TraceScope(char const* function, char const* path, int line) noexcept;
    TraceScope(TraceScope const&) = delete;
    TraceScope& operator=(TraceScope const&) = delete;
    ~TraceScope();

private:
    char const* function_;
    char const* file_;
    int line_;
};

}  // namespace orvane::diagnostics

/// Writes one line at `severity`: the printf-style literal `message`, tagged with file, line and enclosing function.
/// The arguments are evaluated only if the platform admits the line. Exceptions of the arguments and of the platform
/// pass through.
#define DEBUG_LOG(severity, message, ...)                                                                      \
    do {                                                                                                       \
        DebugLevelRecord debugLogRecord = ::orvane::diagnostics::levelRecord(::orvane::diagnostics::severity); \
        if (debugCheckLevel(&debugLogRecord) != 0) {                                                           \
            debugOutput("[%s] %s:%d:%s(): " message "\n", "B-LOG", sourceBaseName(__FILE__), __LINE__,         \
                        static_cast<char const*>(__func__) __VA_OPT__(, ) __VA_ARGS__);                        \
        }                                                                                                      \
    } while (false)

/// Declares the trace scope of an operation. Must be the first statement of the operation.
#define DEBUG_TRACE() \
    ::orvane::diagnostics::TraceScope const debugTraceScope(static_cast<char const*>(__func__), __FILE__, __LINE__)
