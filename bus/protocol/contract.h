#pragma once

#include <systemd/sd-bus.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "objbus/object_type.h"

// What both sides of the bus agree on, as nrx.Television1.xml says it. Private to them.

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

constexpr char STATUS_ERROR[] = "nrx.Television1.Error.Status";

/// How a plain value of the type `T` is shown on the bus.
template <typename T>
struct Plain;

template <>
struct Plain<int> {
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_NUMERIC_INTEGER;
    static constexpr char INTERFACE[] = "nrx.Television1.Integer";
    static constexpr char SIGNATURE[] = "i";
};

template <>
struct Plain<long long> {
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_NUMERIC_INT64;
    static constexpr char INTERFACE[] = "nrx.Television1.Int64";
    static constexpr char SIGNATURE[] = "x";
};

template <>
struct Plain<std::string> {
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_STRING;
    static constexpr char INTERFACE[] = "nrx.Television1.String";
    static constexpr char SIGNATURE[] = "s";
};

template <>
struct Plain<std::vector<int>> {
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    static constexpr char INTERFACE[] = "nrx.Television1.IntegerList";
    static constexpr char SIGNATURE[] = "ai";
};

template <>
struct Plain<std::vector<std::string>> {
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_VECTOR_STRING;
    static constexpr char INTERFACE[] = "nrx.Television1.StringList";
    static constexpr char SIGNATURE[] = "as";
};

/// The path of the model's object under a key, and back; empty for the path of none.
std::string pathOf(std::string_view key);
std::optional<std::string> keyOf(std::string_view path);

/// Whether the bus itself sent the message. The rule of a match does not keep out what another connection sends to this
/// one alone.
bool isFromBus(sd_bus_message* message);

/// Lets an operation fail with a television's status, and returns what a handler then returns.
int refuse(sd_bus_error* error, int status);
/// The status of an operation that failed: the television's own, or what the bus says.
int statusOf(sd_bus_error const& error);

}  // namespace bus
