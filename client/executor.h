#pragma once

#include <functional>

namespace orvane::client {

/// Moves an object's handlers to a thread that the program chooses: takes a task and has the task run later. The
/// executor is called by the delivery thread and by the threads that use the object. The executor must return without
/// waiting, must not throw, and must exist until the object is destroyed.
///
/// Any number of threads may run the tasks. The calls of one object keep the order of the model and do not overlap. A
/// task whose object was destroyed does nothing, and the executor may drop this task. If a task runs during the
/// destruction of the object, the thread of this task may destroy the captured data of the handler after the destructor
/// has returned. NRX_DELIVERY_LIMIT does not limit the calls that wait in an executor.
///
/// With an empty executor, the handlers run on the delivery thread. If the data is available at once, the handlers may
/// instead run on the thread that uses the object.
using Executor = std::function<void(std::function<void()> task)>;

}  // namespace orvane::client
