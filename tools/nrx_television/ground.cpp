#include "tools/nrx_television/ground.h"

namespace nrx_television {

Ground::Ground() : loop(bus::makeLoop()), tasks(loop.get()) {}

}  // namespace nrx_television
