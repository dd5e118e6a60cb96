#pragma once

#include <string>
#include <variant>
#include <vector>

#include "objbus/object_type.h"
#include "objbus/observer.h"
#include "television/value.h"

namespace nrx_console {

/// The kind of the objects whose value is a `T`: the platform's observer and type, and the name in a model file.
template <typename T>
struct PlainKind;

template <typename Obs, objbus::ObjectTypeSpec OBJECT_TYPE>
struct KindOf {
    using Observer = Obs;
    static constexpr auto TYPE = OBJECT_TYPE;
};
template <>
struct PlainKind<int> : KindOf<objbus::ObserverNumericInteger, objbus::OBJECT_TYPE_NUMERIC_INTEGER> {
    static constexpr char NAME[] = "integer";
};
template <>
struct PlainKind<long long> : KindOf<objbus::ObserverNumericInt64, objbus::OBJECT_TYPE_NUMERIC_INT64> {
    static constexpr char NAME[] = "int64";
};
template <>
struct PlainKind<std::string> : KindOf<objbus::ObserverString, objbus::OBJECT_TYPE_STRING> {
    static constexpr char NAME[] = "string";
};
template <>
struct PlainKind<std::vector<int>>
    : KindOf<objbus::ObserverVectorNumericInteger, objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER> {
    static constexpr char NAME[] = "integer-list";
};
template <>
struct PlainKind<std::vector<std::string>> : KindOf<objbus::ObserverVectorString, objbus::OBJECT_TYPE_VECTOR_STRING> {
    static constexpr char NAME[] = "string-list";
};

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
/// All plain kinds, in the order of the alternatives of `Value`.
using PlainKinds = PlainKindsOf<television::Value>;

/// Calls `use.operator()<T>()` for the value type of the first plain kind of which `matches.operator()<Kind>()` is
/// true. Returns whether there is one.
template <typename Matches, typename Use>
bool useKind(Matches const& matches, Use const& use) {
    return PlainKinds::any([&]<typename T>() {
        bool const isMatch = matches.template operator()<PlainKind<T>>();
        if (isMatch) {
            use.template operator()<T>();
        }
        return isMatch;
    });
}

template <typename Use>
bool useKindNamed(std::string const& name, Use const& use) {
    return useKind([&name]<typename Kind>() { return name == Kind::NAME; }, use);
}

template <typename Use>
bool useKindOfType(objbus::ObjectTypeSpec type, Use const& use) {
    return useKind([type]<typename Kind>() { return type == Kind::TYPE; }, use);
}

}  // namespace nrx_console
