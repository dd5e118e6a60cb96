#include "television/log.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/television_commands.h"

// Where the platform library is one of ours, whose log can be taken.

namespace nrx_console {

void printLog(bool here) {
    auto const print = [](int severity, std::string const& line) {
        using television::LogLevel;
        printLine(line, severity <= static_cast<int>(LogLevel::critical) ? Kind::critical
                        : severity <= static_cast<int>(LogLevel::error)  ? Kind::error
                        : severity <= static_cast<int>(LogLevel::info)   ? Kind::information
                                                                         : Kind::detail);
    };
    television::setLogSink(here ? print : television::LogSink());
}

}  // namespace nrx_console
