#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "objbus/object.h"
#include "objbus/observer.h"
#include "television/value.h"

// The kinds of objects with a plain value: the one table that the televisions, the bus and the console follow. Private
// to the televisions.

namespace television {

/// The kind of the objects whose value is a `T`: the platform's interfaces and type, the notification of a new value,
/// and the names in a model file and on the bus.
template <typename T>
struct PlainKind;

template <>
struct PlainKind<int> {
    using Object = objbus::ObjectNumericInteger;
    using Observer = objbus::ObserverNumericInteger;
    static constexpr auto NOTIFY = &Observer::notifyNewValue;
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_NUMERIC_INTEGER;
    static constexpr char NAME[] = "integer";
    static constexpr char INTERFACE[] = "nrx.Television1.Integer";
    static constexpr char SIGNATURE[] = "i";
};

template <>
struct PlainKind<long long> {
    using Object = objbus::ObjectNumericInt64;
    using Observer = objbus::ObserverNumericInt64;
    static constexpr auto NOTIFY = &Observer::notifyNewValue;
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_NUMERIC_INT64;
    static constexpr char NAME[] = "int64";
    static constexpr char INTERFACE[] = "nrx.Television1.Int64";
    static constexpr char SIGNATURE[] = "x";
};

template <>
struct PlainKind<std::string> {
    using Object = objbus::ObjectString;
    using Observer = objbus::ObserverString;
    static constexpr auto NOTIFY = &Observer::notifyNewValue;
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_STRING;
    static constexpr char NAME[] = "string";
    static constexpr char INTERFACE[] = "nrx.Television1.String";
    static constexpr char SIGNATURE[] = "s";
};

template <>
struct PlainKind<std::vector<int>> {
    using Object = objbus::ObjectVectorNumericInteger;
    using Observer = objbus::ObserverVectorNumericInteger;
    static constexpr auto NOTIFY = &Observer::notifyIntegerVector;
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    static constexpr char NAME[] = "integer-list";
    static constexpr char INTERFACE[] = "nrx.Television1.IntegerList";
    static constexpr char SIGNATURE[] = "ai";
};

template <>
struct PlainKind<std::vector<std::string>> {
    using Object = objbus::ObjectVectorString;
    using Observer = objbus::ObserverVectorString;
    static constexpr auto NOTIFY = &Observer::notifyStringVector;
    static constexpr objbus::ObjectTypeSpec TYPE = objbus::OBJECT_TYPE_VECTOR_STRING;
    static constexpr char NAME[] = "string-list";
    static constexpr char INTERFACE[] = "nrx.Television1.StringList";
    static constexpr char SIGNATURE[] = "as";
};

/// All plain kinds, in the order of the alternatives of `Value`.
template <typename Alternatives>
struct PlainKindsOf;

template <typename... T>
struct PlainKindsOf<std::variant<T...>> {
    /// Calls `use.operator()<T>()` for the value type of each kind until a call returns true. Returns whether one did.
    template <typename Use>
    static constexpr bool any(Use const& use) {
        return (use.template operator()<T>() || ...);
    }
};

using PlainKinds = PlainKindsOf<Value>;

/// Calls `make.operator()<Class>()` for the class of `Classes` that serves objects of the type. A client casts an
/// object to the kind that its type names, so that the object must be one.
template <typename Classes, typename Make>
void objectFor(objbus::ObjectTypeSpec type, Make const& make) {
    bool const isPlain = PlainKinds::any([&]<typename T>() {
        bool const isMade = PlainKind<T>::TYPE == type;
        if (isMade) {
            make.template operator()<typename Classes::template Plain<T>>();
        }
        return isMade;
    });
    if (isPlain) {
        return;
    }
    if (type == objbus::OBJECT_TYPE_ACTION) {
        make.template operator()<typename Classes::Action>();
    } else if (type == objbus::OBJECT_TYPE_VECTOR_INTEGER) {
        make.template operator()<typename Classes::Bare>();
    } else {  // A client takes also an object whose type names no kind for a table.
        make.template operator()<typename Classes::Table>();
    }
}

/// The approximate payload of a number in bytes.
template <typename Number>
requires std::is_arithmetic_v<Number> std::size_t sizeOf(Number /*value*/) { return sizeof(long long); }
/// The approximate payload of a string in bytes.
inline std::size_t sizeOf(std::string const& value) { return value.size() + sizeof(long long); }
/// The approximate payload of a list in bytes: the sum of its elements' payloads.
template <typename T>
std::size_t sizeOf(std::vector<T> const& values) {
    std::size_t size = 0;
    for (T const& value : values) {
        size += sizeOf(value);
    }
    return size;
}

/// The value that a write operation is given: a plain value itself, or the list of elements that are given by position,
/// in the order of the positions and without gaps.
template <typename T>
T const& writtenValue(T const& value) {
    return value;
}
template <typename Element>
std::vector<Element> writtenValue(std::map<int, Element> const& elements) {
    std::vector<Element> list;
    list.reserve(elements.size());
    for (auto const& [position, element] : elements) {
        list.push_back(element);
    }
    return list;
}

}  // namespace television
