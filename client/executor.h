#pragma once

#include <functional>

namespace orvane::client {

/// Decides where an object calls its handlers: takes a task and has it run later, on a thread that the program chooses.
/// Called on the delivery thread and on threads that use the object. It must neither wait nor throw, and must outlive
/// the object.
///
/// Any number of threads may run the tasks. The calls of one object keep the order of the model and do not overlap. A
/// task does nothing if its object was destroyed; it may also be dropped. NRX_DELIVERY_LIMIT does not limit the calls
/// that wait in an executor.
///
/// Without an executor (empty) the delivery thread calls the handlers, or the thread that uses the object if the data
/// is available at once.
using Executor = std::function<void(std::function<void()> task)>;

}  // namespace orvane::client
