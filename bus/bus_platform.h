#pragma once

#include <map>
#include <string>

#include "objbus/object_type.h"
#include "television/presence.h"

/// The platform library nrx_bus_platform. Its television is the owner of the name nrx.Television1 on a message bus. The
/// environment variable NRX_BUS_ADDRESS has the address of the bus. If the variable is not set, the bus is the session
/// bus. The owner must run as root or as this process's user. If the environment variable NRX_BUS_OWNER is set, the
/// owner must instead run as the user whom the variable names; "any" permits every user. Clients of the model use
/// `frame::Process`, as with every platform library. The operations here are for programs that display what a
/// television publishes.
///
/// Any thread may call these operations. `waitUntilDelivered` must not be called inside a notification. Each operation
/// that asks the television waits at most a second for the reply. An `int` result is a status of `television::Status`.
namespace bus {

/// Replaces `objects` by the keys and the types of the published objects. A failure changes nothing.
__attribute__((visibility("default"))) int listObjects(std::map<std::string, objbus::ObjectTypeSpec>& objects);

/// Returns the current presence of the television without waiting. The search for a television starts when a process
/// first connects or disconnects an observer or calls one of these operations. The result is `gone` until the search
/// finds a television.
__attribute__((visibility("default"))) television::Presence presence();

/// Calls `listener` with the current presence and then with each change, on the delivery thread. Replaces the earlier
/// listener. Waits until a running call of the earlier listener has returned, unless that call itself calls this
/// function. An empty listener ends the calls.
__attribute__((visibility("default"))) int setPresenceListener(television::PresenceListener listener);

/// Calls the television's method `Sync`. Returns when all notifications that the television sent before the reply to
/// `Sync` are delivered.
__attribute__((visibility("default"))) int waitUntilDelivered();

}  // namespace bus
