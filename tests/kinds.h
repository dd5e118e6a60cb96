#pragma once

#include <climits>
#include <functional>
#include <map>
#include <optional>

#include "support.h"

// The kinds of objects and what can be done to each, over which the tests of the accesses run.

namespace test {

using namespace objbus;
using simulator::Call;
using AccessPtr = std::unique_ptr<ValueAccessBase>;

template <typename Access>
AccessPtr make() {
    return std::make_unique<Access>(KEY);
}

/// One kind of object, its access and, for a plain-valued one, a value.
struct Kind {
    ObjectTypeSpec type;
    Source source;
    std::string observer;
    AccessPtr (*make)();
    Value value{};
};

inline Kind const KINDS[] = {
    {OBJECT_TYPE_NUMERIC_INTEGER, VALUE, "ObserverNumericInteger", make<ValueAccessT<ObserverNumericInteger>>, 5},
    {OBJECT_TYPE_NUMERIC_INT64, VALUE, "ObserverNumericInt64", make<ValueAccessT<ObserverNumericInt64>>, 6LL},
    {OBJECT_TYPE_STRING, VALUE, "ObserverString", make<ValueAccessT<ObserverString>>, "old"s},
    {OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, VALUE, "ObserverVectorNumericInteger",
     make<ValueAccessT<ObserverVectorNumericInteger>>, Integers{1, 2}},
    {OBJECT_TYPE_VECTOR_STRING, VALUE, "ObserverVectorString", make<ValueAccessT<ObserverVectorString>>, Strings{"p"}},
    {OBJECT_TYPE_ACTION, ACTION, "ObserverAction", make<ActionAccess>},
    {OBJECT_TYPE_TABLE, TABLE, "", make<TableAccess>},
};

/// The types that there are, and some that there are not.
inline int const TYPES[] = {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255, INT_MAX};

/// A read or write, and for each type that accepts it what the object holds afterwards.
struct Operation {
    Call what;
    std::string name;
    std::function<int(ValueAccessBase&)> call;
    std::map<ObjectTypeSpec, Value> accepted;
    std::string number{};  ///< That is written, if it is one.

    /// The lines of a call, with those of a refusal by the type if there is one.
    [[nodiscard]] Lines lines(std::optional<ObjectTypeSpec> refusing, Lines inside = {}) const {
        if (refusing) {
            bool const large = refusing == OBJECT_TYPE_NUMERIC_INTEGER;
            std::string const mismatch = "Object Type mismatch:  "s + ActionAccess(KEY).accessTypeName(*refusing);
            std::string const tooLarge = "Value is too large for int32 value:  [" + number + "] ";
            std::string const text = number.empty() ? mismatch : large ? tooLarge : "STATUS_ERR_VALUE_TYPE_MISMATCH";
            inside.push_back(BASE.error(name, text));
        }
        return name == "setValue" ? BASE.traced(name, inside) : inside;
    }
};

/// Reads into a variable that must change exactly when the read succeeds.
template <typename T>
Operation read(ObjectTypeSpec type, T const& before, T const& inModel) {
    auto const call = [=](ValueAccessBase& access) {
        T out = before;
        int const status = access.getValue(out);
        EXPECT_EQ(out, status == 0 ? inModel : before);
        return status;
    };
    return {Call::read, "getValue", call, {{type, inModel}}};
}

template <typename T>
Operation write(T const& value, std::map<ObjectTypeSpec, Value> const& accepted) {
    auto const call = [=](ValueAccessBase& access) { return access.setValue(value); };
    if constexpr (std::is_integral_v<T>) {
        return {Call::write, "setValue", call, accepted, std::to_string(value)};
    }
    return {Call::write, "setValue", call, accepted};
}

inline Operation const OPERATIONS[] = {
    read(OBJECT_TYPE_NUMERIC_INTEGER, -1, 5),
    read(OBJECT_TYPE_NUMERIC_INT64, -1LL, 6LL),
    read(OBJECT_TYPE_STRING, "before"s, "old"s),
    read(OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, Integers{9}, Integers{1, 2}),
    read(OBJECT_TYPE_VECTOR_STRING, Strings{"z"}, Strings{"p"}),
    write(-1, {{OBJECT_TYPE_NUMERIC_INTEGER, -1}, {OBJECT_TYPE_NUMERIC_INT64, -1LL}}),
    write(-2147483648LL, {{OBJECT_TYPE_NUMERIC_INTEGER, INT_MIN}, {OBJECT_TYPE_NUMERIC_INT64, -2147483648LL}}),
    write(2147483647LL, {{OBJECT_TYPE_NUMERIC_INTEGER, INT_MAX}, {OBJECT_TYPE_NUMERIC_INT64, 2147483647LL}}),
    write(-2147483649LL, {{OBJECT_TYPE_NUMERIC_INT64, -2147483649LL}}),
    write(2147483648LL, {{OBJECT_TYPE_NUMERIC_INT64, 2147483648LL}}),
    write("new"s, {{OBJECT_TYPE_STRING, "new"s}}),
    write(Integers{7, 8, 9}, {{OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, Integers{7, 8, 9}}}),
    write(Strings{}, {{OBJECT_TYPE_VECTOR_STRING, Strings{}}}),
};

}  // namespace test
