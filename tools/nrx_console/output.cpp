#include "tools/nrx_console/output.h"

#include <iostream>
#include <mutex>
#include <utility>

namespace nrx_console {

namespace {

std::mutex mutex;
std::function<void(std::string const&, Kind)> lineTaker;

}  // namespace

void printLine(std::string const& line, Kind kind) {
    std::lock_guard const lock(mutex);
    if (lineTaker) {
        lineTaker(line, kind);
    } else {
        (kind == Kind::ordinary ? std::cout : std::cerr) << line + "\n" << std::flush;
    }
}

void setLineTaker(std::function<void(std::string const&, Kind)> taker) {
    std::lock_guard const lock(mutex);
    lineTaker = std::move(taker);
}

}  // namespace nrx_console
