#pragma once

#include <map>
#include <string>

#include "objbus/object_type.h"
#include "television/presence.h"

/// The platform library nrx_bus_platform. Its television is the owner of the name nrx.Television1 on a message bus: the
/// bus at the address in the environment variable NRX_BUS_ADDRESS, or the session bus. The owner must run as root or as
/// this process's user. If the environment variable NRX_BUS_OWNER is set, the owner must instead run as the user whom
/// the variable names; "any" permits every user. Clients of the model use `frame::Process`, as with every platform
/// library. The operations here are for programs that display what a television publishes.
///
/// Any thread may call these operations. `waitUntilDelivered` must not be called inside a notification. Each operation
/// that asks the television waits at most a second for the reply. An `int` result is a status of `television::Status`.
namespace bus {

/// Replaces `objects` by the keys and the types of the published objects. A failure changes nothing.
__attribute__((visibility("default"))) int listObjects(std::map<std::string, objbus::ObjectTypeSpec>& objects);

/// Returns the current presence of the television without waiting. The first operation of a process, for example this
/// one, starts to look for a television, so the first result may be `gone`.
__attribute__((visibility("default"))) television::Presence presence();

/// Calls `listener` with the current presence and then with each change, on the delivery thread. Replaces the earlier
/// listener. Waits until a running call of the earlier listener has returned, except inside that call. An empty
/// listener ends the calls.
__attribute__((visibility("default"))) int setPresenceListener(television::PresenceListener listener);

/// Asks the television to sync. Returns when all notifications that the television sent before its reply are delivered.
__attribute__((visibility("default"))) int waitUntilDelivered();

}  // namespace bus
