#pragma once

#include <map>
#include <string>

#include "objbus/object_type.h"
#include "television/presence.h"

/// The platform library nrx_bus_platform, whose television is the owner of the name nrx.Television1 on a message bus.
/// The bus has the address in the environment variable NRX_BUS_ADDRESS, or is the session bus. The owner must run as
/// this process's user or as root, or as NRX_BUS_OWNER says. Clients of the model use `frame::Process` as with every
/// platform library; the operations here serve programs that show a television.
///
/// Any thread may call them, also from inside a notification, except `waitUntilDelivered`. Each waits for the
/// television for at most a second, and returns a status of `television::Status`.
namespace bus {

/// Replaces `objects` by the keys that are published now, with the types of their objects. A failure changes nothing.
__attribute__((visibility("default"))) int listObjects(std::map<std::string, objbus::ObjectTypeSpec>& objects);

/// Returns the current presence of the television. The first operation of a process begins to look for a television,
/// and does not wait until it is found.
__attribute__((visibility("default"))) television::Presence presence();

/// Calls `listener` with the current presence and then with each change, on the delivery thread. Replaces the earlier
/// listener, and waits while that one runs, except inside its own call. An empty listener ends the calls.
__attribute__((visibility("default"))) int setPresenceListener(television::PresenceListener listener);

/// Asks the television to sync, and returns when all notifications that it had sent by then were delivered here.
__attribute__((visibility("default"))) int waitUntilDelivered();

}  // namespace bus
