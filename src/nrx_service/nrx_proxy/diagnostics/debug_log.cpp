#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"

namespace orvane::diagnostics {

TraceScope::TraceScope(char const* function, char const* path, int line)
    : function_(function), file_(sourceBaseName(path)), line_(line) {
    DebugLevelRecord record = levelRecord(LOG_DEBUG);
    if (debugCheckLevel(&record) != 0) {
        debugOutput("[TRACE -> %s(IN)] %s:%d:%s() \n", function_, sourceBaseName(file_), line_, function_);
    }
}

TraceScope::~TraceScope() {
    try {
        DebugLevelRecord record = levelRecord(LOG_DEBUG);
        if (debugCheckLevel(&record) != 0) {
            debugOutput("[TRACE <- %s(OUT)] %s:%d:%s() \n", function_, sourceBaseName(file_), line_, function_);
        }
    } catch (...) {  // A lost trace line must not end the host, least of all while another exception unwinds.
    }
}

}  // namespace orvane::diagnostics
