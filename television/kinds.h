#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "objbus/object.h"
#include "objbus/observer.h"
#include "television/value.h"

/// The kinds of objects with a plain value: KIND(C++ type, object interface, observer interface, notification, object
/// type, name in a model file, D-Bus interface, D-Bus signature of the value). The televisions, the bus and the console
/// use these rows.
// clang-format off
#define NRX_PLAIN_KINDS(KIND)                                                                                          \
    KIND(int, ObjectNumericInteger, ObserverNumericInteger, notifyNewValue,                                            \
         OBJECT_TYPE_NUMERIC_INTEGER, "integer", "nrx.Television1.Integer", "i")                                       \
    KIND(long long, ObjectNumericInt64, ObserverNumericInt64, notifyNewValue,                                          \
         OBJECT_TYPE_NUMERIC_INT64, "int64", "nrx.Television1.Int64", "x")                                             \
    KIND(std::string, ObjectString, ObserverString, notifyNewValue,                                                    \
         OBJECT_TYPE_STRING, "string", "nrx.Television1.String", "s")                                                  \
    KIND(std::vector<int>, ObjectVectorNumericInteger, ObserverVectorNumericInteger, notifyIntegerVector,              \
         OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, "integer-list", "nrx.Television1.IntegerList", "ai")                      \
    KIND(std::vector<std::string>, ObjectVectorString, ObserverVectorString, notifyStringVector,                       \
         OBJECT_TYPE_VECTOR_STRING, "string-list", "nrx.Television1.StringList", "as")
// clang-format on

namespace television {

/// Describes the kind whose values have the C++ type `T`.
template <typename T>
struct PlainKindTraits;

#define NRX_DESCRIBE_KIND(T, OBJECT, OBSERVER, NOTIFICATION, OBJECT_TYPE, NAME_, INTERFACE_, SIGNATURE_) \
    template <>                                                                                          \
    struct PlainKindTraits<T> {                                                                          \
        using Object = objbus::OBJECT;                                                                   \
        using Observer = objbus::OBSERVER;                                                               \
        static constexpr auto NOTIFY = &Observer::NOTIFICATION;                                          \
        static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE;                              \
        static constexpr char NAME[] = NAME_;                                                            \
        static constexpr char INTERFACE[] = INTERFACE_;                                                  \
        static constexpr char SIGNATURE[] = SIGNATURE_;                                                  \
    };
NRX_PLAIN_KINDS(NRX_DESCRIBE_KIND)
#undef NRX_DESCRIBE_KIND

/// Calls `use.operator()<T>()` for the value type of each kind until a call returns true. Returns whether a call
/// returned true.
template <typename Use>
bool anyOfPlainKinds(Use const& use) {
    bool isUsed = false;
#define NRX_USE(T, ...)                        \
    if (!isUsed) {                             \
        isUsed = use.template operator()<T>(); \
    }
    NRX_PLAIN_KINDS(NRX_USE)
#undef NRX_USE
    return isUsed;
}

/// Calls `make.operator()<Class>()` for the class of `Classes` that serves objects of the type. A client casts an
/// object to the interface of the object's type, so the class must implement this interface.
template <typename Classes, typename Make>
void dispatchOnObjectType(objbus::ObjectTypeSpec type, Make const& make) {
    switch (type) {
#define NRX_MAKE_PLAIN(T, OBJECT, OBSERVER, NOTIFICATION, OBJECT_TYPE, ...) \
    case objbus::OBJECT_TYPE:                                               \
        return make.template operator()<typename Classes::template PlainValueObject<T>>();
        NRX_PLAIN_KINDS(NRX_MAKE_PLAIN)
#undef NRX_MAKE_PLAIN
        case objbus::OBJECT_TYPE_ACTION:
            return make.template operator()<typename Classes::Action>();
        case objbus::OBJECT_TYPE_VECTOR_INTEGER:
            return make.template operator()<typename Classes::Bare>();
        case objbus::OBJECT_TYPE_TABLE:
        case objbus::OBJECT_TYPE_NONE:
            break;
    }
    make.template operator()<typename Classes::Table>();  // A client treats an object of unknown type as a table.
}

/// The approximate payload of a number in bytes.
template <typename Number>
requires std::is_arithmetic_v<Number> std::size_t payloadSize(Number /*value*/) { return sizeof(long long); }
/// The approximate payload of a string in bytes.
inline std::size_t payloadSize(std::string const& value) { return value.size() + sizeof(long long); }
/// The approximate payload of a list in bytes: the sum of its elements' payloads.
template <typename T>
std::size_t payloadSize(std::vector<T> const& values) {
    std::size_t size = 0;
    for (T const& value : values) {
        size += payloadSize(value);
    }
    return size;
}

/// Converts the argument of a write operation to a value. A plain value stays unchanged. A map from positions to
/// elements becomes a list of the elements in the order of the positions, without gaps.
template <typename T>
T const& valueFromWriteArgument(T const& value) {
    return value;
}
template <typename Element>
std::vector<Element> valueFromWriteArgument(std::map<int, Element> const& elements) {
    std::vector<Element> list;
    list.reserve(elements.size());
    for (auto const& [position, element] : elements) {
        list.push_back(element);
    }
    return list;
}

}  // namespace television
