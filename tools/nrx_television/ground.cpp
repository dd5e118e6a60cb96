#include "tools/nrx_television/ground.h"

#include <system_error>

namespace nrx_television {

namespace {

sd_event* makeLoop() {
    sd_event* loop = nullptr;
    if (int const result = sd_event_new(&loop); result < 0) {
        throw std::system_error(-result, std::generic_category(), "the loop of the bus");
    }
    return loop;
}

}  // namespace

Ground::Ground() : loop(makeLoop()), tasks(loop.get()) {}

}  // namespace nrx_television
