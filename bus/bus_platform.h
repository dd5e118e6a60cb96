#pragma once

#include <map>
#include <string>

#include "objbus/object_type.h"
#include "television/presence.h"

/// The platform library nrx_bus_platform. Its television is the owner of the name nrx.Television1 on a message bus: the
/// bus at the address in the environment variable NRX_BUS_ADDRESS, or the session bus. The owner must run as root or as
/// this process's user. The environment variable NRX_BUS_OWNER permits another user. Clients of the model use
/// `frame::Process`, as with every platform library. The operations here are for programs that show a television.
///
/// Any thread may call these operations. `waitUntilDelivered` must not be called inside a notification. Each operation
/// waits for the television for at most a second, and returns a status of `television::Status`.
namespace bus {

/// Replaces `objects` by the keys and the types of the published objects. A failure changes nothing.
__attribute__((visibility("default"))) int listObjects(std::map<std::string, objbus::ObjectTypeSpec>& objects);

/// Returns the current presence of the television. The first operation of a process starts to look for a television,
/// and does not wait for the result.
__attribute__((visibility("default"))) television::Presence presence();

/// Calls `listener` with the current presence and then with each change, on the delivery thread. Replaces the earlier
/// listener, and waits while the earlier listener runs, except inside a call of this listener. An empty listener ends
/// the calls.
__attribute__((visibility("default"))) int setPresenceListener(television::PresenceListener listener);

/// Asks the television to sync. Returns when all notifications that the television sent before its reply are delivered.
__attribute__((visibility("default"))) int waitUntilDelivered();

}  // namespace bus
