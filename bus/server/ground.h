#pragma once

#include <memory>
#include <vector>

#include "bus/protocol/message.h"
#include "bus/protocol/tasks.h"
#include "objbus/observer.h"

namespace bus::server {

/// What the television's notifications need: it outlives the television.
struct Ground {
    Ground();

    Loop const loop;
    Tasks tasks;  ///< Of the thread that runs the loop.
    /// Those that the television would not let go. They do nothing when they are called.
    std::vector<std::unique_ptr<objbus::Observer>> stranded;
};

}  // namespace bus::server
