#include "bus/server/ground.h"

namespace bus::server {

Ground::Ground() : loop(makeLoop()), tasks(loop.get()) {}

}  // namespace bus::server
