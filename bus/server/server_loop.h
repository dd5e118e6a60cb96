#pragma once

#include <list>
#include <memory>

#include "bus/protocol/task_queue.h"
#include "objbus/observer.h"

namespace bus::server {

/// The server's event loop, and the objects that the television's notifications use. Must outlive the television.
struct ServerLoop {
    EventLoop const loop = makeEventLoop();
    TaskQueue tasks{loop.get()};
    using ObserverList = std::list<std::unique_ptr<objbus::Observer>>;  ///< A move between lists allocates no memory.
    /// Observers that could not be disconnected. These observers ignore notifications.
    ObserverList observersWithFailedDisconnect;
};

}  // namespace bus::server
