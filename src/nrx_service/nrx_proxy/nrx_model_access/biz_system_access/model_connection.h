#pragma once

#include <string>

#include "objbus/root_interface.h"

// What the connects of all access kinds share. Private to the access layer.

/// The messages of a failed connect; each `connect` writes them itself, so that a line names its place.
#define CONNECT_FAILED_MESSAGE "Failed %d"
#define OBSERVER_MISMATCH_MESSAGE "Observer Type not match for %s,( %d ) vs %s "

namespace orvane::system::support {

/// The outcome of asking for a model object: the object, or null and the status of the last attempt.
struct ConnectOutcome {
    objbus::Object* object;
    int status;
};

/// Asks `root` for the object named `key`, every 100 milliseconds until `timeoutMs` is spent. Without a root
/// interface: status 5 at once.
ConnectOutcome connectWithin(int timeoutMs, objbus::RootInterface* root, std::string const& key,
                             objbus::Observer* observer);

/// Ends the registration of `observer`; does nothing without a root interface.
void disconnectFrom(objbus::RootInterface* root, std::string const& key, objbus::Observer* observer,
                    objbus::Object* object);

/// The type that `object` reports; `OBJECT_TYPE_NONE` for null, which a connect of an `IteratorAccess` leaves behind.
objbus::ObjectTypeSpec typeOf(objbus::Object* object);

}  // namespace orvane::system::support
