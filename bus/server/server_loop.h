#pragma once

#include <list>
#include <memory>

#include "bus/protocol/task_queue.h"
#include "objbus/observer.h"

namespace bus::server {

/// The event loop of the server, and what the television's notifications use. Outlives the television.
struct ServerLoop {
    EventLoop const loop = makeEventLoop();
    TaskQueue tasks{loop.get()};
    using Observers = std::list<std::unique_ptr<objbus::Observer>>;  ///< Moved without memory.
    /// Observers that could not be disconnected. They ignore notifications.
    Observers orphanedObservers;
};

}  // namespace bus::server
