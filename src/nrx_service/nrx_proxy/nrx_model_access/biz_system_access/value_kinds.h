#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include "objbus/object.h"
#include "objbus/observer.h"

// Private to the access layer.

/// The kinds of plain values: KIND(C++ type, object interface, object type, observer interface, notification). The
/// public headers declare each kind's reads, writes and notifications, and these rows define all else in which the
/// kinds differ. Only the rules for writes of integers are not in the rows: such a write accepts objects of both
/// integer types, and has a log message of its own for other types.
#define NRX_VALUE_KINDS(KIND)                                                                            \
    KIND(int, ObjectNumericInteger, OBJECT_TYPE_NUMERIC_INTEGER, ObserverNumericInteger, notifyNewValue) \
    KIND(long long, ObjectNumericInt64, OBJECT_TYPE_NUMERIC_INT64, ObserverNumericInt64, notifyNewValue) \
    KIND(std::string, ObjectString, OBJECT_TYPE_STRING, ObserverString, notifyNewValue)                  \
    KIND(std::vector<int>, ObjectVectorNumericInteger, OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,               \
         ObserverVectorNumericInteger, notifyIntegerVector)                                              \
    KIND(std::vector<std::string>, ObjectVectorString, OBJECT_TYPE_VECTOR_STRING, ObserverVectorString,  \
         notifyStringVector)

/// The types of objects that hold no plain value.
#define NRX_OTHER_TYPES(TYPE) \
    TYPE(OBJECT_TYPE_ACTION)  \
    TYPE(OBJECT_TYPE_TABLE)   \
    TYPE(OBJECT_TYPE_VECTOR_INTEGER)

namespace orvane::system::support {

/// Describes the kind whose values have the C++ type `T`.
template <typename T>
struct ValueKind;

/// Describes the kind whose observer interface is `Obs`.
template <typename Obs>
struct ObserverKind;

#define NRX_DESCRIBE_KIND(T, OBJECT, OBJECT_TYPE, OBSERVER, NOTIFICATION) \
    template <>                                                           \
    struct ValueKind<T> {                                                 \
        using Object = objbus::OBJECT;                                    \
        static constexpr auto TYPE = objbus::OBJECT_TYPE;                 \
    };                                                                    \
    template <>                                                           \
    struct ObserverKind<objbus::OBSERVER> : ValueKind<T> {                \
        static constexpr char NAME[] = #OBSERVER;                         \
    };
NRX_VALUE_KINDS(NRX_DESCRIBE_KIND)
#undef NRX_DESCRIBE_KIND

/// The type with which the public declarations declare a parameter for a value of type `T`: `T` itself for a number,
/// otherwise a constant reference.
template <typename T>
using Passed = std::conditional_t<std::is_arithmetic_v<T>, T, T const&>;

}  // namespace orvane::system::support
