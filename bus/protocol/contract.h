#pragma once

#include <systemd/sd-bus.h>

#include <optional>
#include <string>
#include <string_view>

#include "objbus/object_type.h"

// The names and errors of bus/nrx.Television1.xml.

namespace bus {

constexpr char SERVICE[] = "nrx.Television1";
constexpr char MODEL_PATH[] = "/nrx/Television1/model";
constexpr char ITERATOR_PATH[] = "/nrx/Television1/iterator";

constexpr char MODEL_INTERFACE[] = "nrx.Television1.Model";
constexpr char OBJECT_INTERFACE[] = "nrx.Television1.Object";
constexpr char ACTION_INTERFACE[] = "nrx.Television1.Action";
constexpr char TABLE_INTERFACE[] = "nrx.Television1.Table";
constexpr char ITERATOR_INTERFACE[] = "nrx.Television1.TableIterator";
constexpr char PROPERTIES_INTERFACE[] = "org.freedesktop.DBus.Properties";
constexpr char OBJECT_MANAGER_INTERFACE[] = "org.freedesktop.DBus.ObjectManager";

// The name and the path of the bus itself. The bus sends its own signals under this name.
constexpr char BUS_NAME[] = "org.freedesktop.DBus";
constexpr char BUS_PATH[] = "/org/freedesktop/DBus";

/// The model's method whose reply arrives after the signals of all earlier changes.
constexpr char SYNC_METHOD[] = "Sync";

constexpr char STATUS_ERROR[] = "nrx.Television1.Error.Status";

/// `pathOf` returns the path of a key's object. `keyOf` returns the key of a path, or no value if no key has
/// the path.
std::string pathOf(std::string_view key);
std::optional<std::string> keyOf(std::string_view path);

/// Whether the bus itself sent the message. A match rule does not exclude messages that another connection sends
/// directly to this connection.
bool isFromBus(sd_bus_message* message);

/// Sets `error` to a status of the television. Returns the negative error number that the handler of the method call
/// returns to sd-bus.
int setStatusError(sd_bus_error* error, int status);
/// Returns the status of a failed method call: the television's status, or the status for an error of the bus.
int statusOfError(sd_bus_error const& error);

}  // namespace bus
