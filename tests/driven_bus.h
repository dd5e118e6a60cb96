#pragma once

#include "driven_television.h"

/// The television on a bus, which may be lost there. What is published, withdrawn and set while it is off is so when it
/// starts again, and what it had is there as it was.
namespace driven {

// These end a process without asking it, and return when the clients here have noticed and heard of it.
void kill();
void killBus();  ///< The television goes with it.

/// Starts what was ended, the bus where it stood, and returns when the clients here have heard what they missed.
void start();

/// Returns when the observers here have also heard of what they were asking for when the television did it.
void settleAgain();

}  // namespace driven
