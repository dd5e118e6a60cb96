#include "tools/nrx_console/output.h"

#include <poll.h>
#include <unistd.h>

#include <climits>
#include <iostream>
#include <mutex>
#include <utility>

#include "television/printable.h"
#include "tools/nrx_console/screen.h"

namespace nrx_console {

namespace {

std::mutex mutex;
std::function<void(std::string const&, LineKind)> lineSink;

/// Called with the mutex held.
void print(std::string const& line, LineKind kind) {
    if (lineSink) {
        lineSink(line, kind);
    } else {
        (kind == LineKind::ordinary ? std::cout : std::cerr) << colourAndWrapIfTerminal(line, kind) + "\n"
                                                             << std::flush;
    }
}

}  // namespace

void printLine(std::string const& line, LineKind kind) {
    std::lock_guard const lock(mutex);
    print(line, kind);
}

void printLineUnlessBlocking(std::string line, LineKind kind) {
    // A pipe that `poll` reports as writable accepts PIPE_BUF bytes without blocking.
    line = television::shortened(std::move(line), PIPE_BUF - 4);
    std::lock_guard const lock(mutex);
    pollfd output{kind == LineKind::ordinary ? STDOUT_FILENO : STDERR_FILENO, POLLOUT, 0};
    if (lineSink || ::poll(&output, 1, 0) > 0) {
        print(line, kind);
    }
}

void setLineSink(std::function<void(std::string const&, LineKind)> sink) {
    std::lock_guard const lock(mutex);
    lineSink = std::move(sink);
}

}  // namespace nrx_console
