#pragma once

#include <memory>
#include <vector>

#include "bus/protocol/task_queue.h"
#include "objbus/observer.h"

namespace bus::server {

/// The server's event loop, and the objects that the television's notifications use. Outlives the television.
struct ServerLoop {
    EventLoop const loop = makeEventLoop();
    TaskQueue tasks{loop.get()};
    /// Observers that could not be disconnected. These observers ignore notifications.
    std::vector<std::unique_ptr<objbus::Observer>> orphanedObservers;
};

}  // namespace bus::server
