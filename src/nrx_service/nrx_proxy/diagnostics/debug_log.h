#pragma once

#include <cstdint>

#include "base_utils/debug_log.h"

// The library's log statements. Private: the severity names collide with the macros of <syslog.h>.

namespace orvane::diagnostics {

/// Lower is more severe.
enum LogLevel : std::uint32_t {
    LOG_CRITICAL = 1,
    LOG_ERROR = 1000,
    LOG_INFO = 4000,
    LOG_DEBUG = 5000,
};

/// The library's number among the modules of the television's log.
inline constexpr std::uint32_t LOG_MODULE_CODE = 0x5F;

/// A fresh record for one check.
constexpr DebugLevelRecord levelRecord(LogLevel level) { return {LOG_MODULE_CODE << 16U | level, 0, 0}; }

/// Writes a trace line when a traced operation is entered and when it is left, by whatever way. Owns nothing and
/// refers to static data only, so the traced object may be gone when the scope ends.
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
/// The arguments are evaluated only when the platform admits the line. What they, or the platform, throw passes
/// through.
#define DEBUG_LOG(severity, message, ...)                                                                      \
    do {                                                                                                       \
        DebugLevelRecord debugLogRecord = ::orvane::diagnostics::levelRecord(::orvane::diagnostics::severity); \
        if (debugCheckLevel(&debugLogRecord) != 0) {                                                           \
            debugOutput("[%s] %s:%d:%s(): " message "\n", "B-LOG", sourceBaseName(__FILE__), __LINE__,         \
                        static_cast<char const*>(__func__) __VA_OPT__(, ) __VA_ARGS__);                        \
        }                                                                                                      \
    } while (false)

/// Declares the trace scope of the enclosing operation; its first statement.
#define DEBUG_TRACE() \
    ::orvane::diagnostics::TraceScope const debugTraceScope(static_cast<char const*>(__func__), __FILE__, __LINE__)
