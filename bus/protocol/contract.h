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
constexpr char MANAGER_INTERFACE[] = "org.freedesktop.DBus.ObjectManager";

// The bus itself, which sends signals under its name.
constexpr char BUS_NAME[] = "org.freedesktop.DBus";
constexpr char BUS_PATH[] = "/org/freedesktop/DBus";

/// Of the model: the reply follows the signals of all earlier changes.
constexpr char SYNC_METHOD[] = "Sync";

constexpr char STATUS_ERROR[] = "nrx.Television1.Error.Status";

/// The path of the object under a key, and the key of a path; empty for a path that no key has.
std::string pathOf(std::string_view key);
std::optional<std::string> keyOf(std::string_view path);

/// Whether the bus itself sent the message. A match rule does not exclude messages that another connection sends to
/// this connection alone.
bool isFromBus(sd_bus_message* message);

/// Sets the error of a method call to a status of the television's, and returns the result of the call's handler.
int setStatusError(sd_bus_error* error, int status);
/// The status of a method call that failed: the television's own, or the one that the bus's error stands for.
int statusOfError(sd_bus_error const& error);

}  // namespace bus
