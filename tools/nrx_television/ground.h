#pragma once

#include <memory>
#include <vector>

#include "bus/message.h"
#include "bus/tasks.h"
#include "objbus/observer.h"

namespace nrx_television {

/// What the television's notifications need: it outlives the television.
struct Ground {
    Ground();

    bus::Loop const loop;
    bus::Tasks tasks;  ///< Of the thread that runs the loop.
    /// Those that the television would not let go. They do nothing when they are called.
    std::vector<std::unique_ptr<objbus::Observer>> stranded;
};

}  // namespace nrx_television
