#define SPDLOG_ACTIVE_LEVEL SPDLOG_LEVEL_DEBUG  // Compiles debug statements, which are refused at run time.
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include "measure.h"
#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"

namespace bench {

void addRefusedLogBenchmarks() {
    addCallBenchmark("LogRefused", [] {
        return [text = makeStrings(1, 8).front()] { DEBUG_LOG(LOG_DEBUG, "parameter %d:   %s ", 1, text.c_str()); };
    });
    addCallBenchmark("TraceRefused", [] { return [] { DEBUG_TRACE(); }; });
    addCallBenchmark("LimitCheckCall", [] {
        return [] {
            DebugLevelRecord record = orvane::diagnostics::levelRecord(orvane::diagnostics::LOG_DEBUG);
            benchmark::DoNotOptimize(debugCheckLevel(&record));
        };
    });
    addCallBenchmark("PeerSpdlogRefused", [] {
        auto logger = std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
        logger->set_level(spdlog::level::off);
        return
            [logger, text = makeStrings(1, 8).front()] { SPDLOG_LOGGER_DEBUG(logger, "parameter {}:   {} ", 1, text); };
    });
}

}  // namespace bench
