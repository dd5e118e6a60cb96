#pragma once

#include <map>
#include <string>

#include "objbus/object_type.h"

/// The television on a message bus, as the platform library nrx_bus_platform reaches it: the bus at the address in the
/// environment variable NRX_BUS_ADDRESS, or the session's. The television is the owner of the name nrx.Television1, if
/// it runs as this process's user or as root, or as NRX_BUS_OWNER says. A program needs these operations only to show
/// the television; clients of the model use `frame::Process`, as everywhere.
///
/// Any thread may call them, also from inside a notification, `waitUntilDelivered` excepted. Each waits a second at
/// most for the television, and returns a status of `television::Status`.
namespace bus {

/// Replaces `objects` by what is published now: the keys, and the types of their objects. Left alone on failure.
__attribute__((visibility("default"))) int listObjects(std::map<std::string, objbus::ObjectTypeSpec>& objects);

/// Returns when every notification has returned that the television had sent when it was asked here.
__attribute__((visibility("default"))) int waitUntilDelivered();

}  // namespace bus
