#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <limits>
#include <locale>
#include <type_traits>

namespace {

using namespace orvane::system::support;
using namespace std::string_literals;

constexpr float INF_F = std::numeric_limits<float>::infinity();
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

static_assert(!std::is_assignable_v<ValueObject&, char const*> && !std::is_constructible_v<ValueObject, char const*>);
static_assert(!std::is_assignable_v<IValueObject&, char const*>);
static_assert(std::is_nothrow_move_constructible_v<ValueObject> && std::is_nothrow_move_assignable_v<ValueObject>);

ValueObject list(std::vector<ValueObject> elements) {
    ValueObject value;
    value.typeTag = VALUE_VECTOR;
    value.elements = std::move(elements);
    return value;
}

ValueObject tagged(int tag) {
    ValueObject value;
    value.typeTag = static_cast<ValueObjectType>(tag);
    return value;
}

struct Conversion {
    ValueObject value;
    ValueObjectType type;
    bool asBool;
    int asInt;
    unsigned int asUint;
    long long asInt64;
    unsigned long long asUint64;
    float asFloat;
    double asDouble;
    std::string text;
};

constexpr int INT_LOWEST = std::numeric_limits<int>::min();
constexpr unsigned int UINT_HIGHEST = std::numeric_limits<unsigned int>::max();
constexpr long long INT64_LOWEST = std::numeric_limits<long long>::min();
constexpr long long INT64_HIGHEST = std::numeric_limits<long long>::max();
constexpr unsigned long long UINT64_HIGHEST = std::numeric_limits<unsigned long long>::max();

std::vector<Conversion> const& conversions() {
    static std::vector<Conversion> const rows{
        {ValueObject(-1), VALUE_INT, true, -1, UINT_HIGHEST, -1, UINT64_HIGHEST, -1, -1, "-1"},
        {ValueObject(0), VALUE_INT, false, 0, 0, 0, 0, 0, 0, "0"},
        {ValueObject(INT_LOWEST), VALUE_INT, true, INT_LOWEST, 2147483648U, INT_LOWEST, 18446744071562067968ULL,
         -2147483648.0F, -2147483648.0, "-2147483648"},
        {ValueObject(UINT_HIGHEST), VALUE_UINT, true, -1, UINT_HIGHEST, 4294967295LL, 4294967295ULL, 4294967296.0F,
         4294967295.0, "4294967295"},
        {ValueObject(4294967297LL), VALUE_INT64, true, 1, 1, 4294967297LL, 4294967297ULL, 4294967296.0F, 4294967297.0,
         "4294967297"},
        {ValueObject(INT64_LOWEST), VALUE_INT64, true, 0, 0, INT64_LOWEST, 9223372036854775808ULL,
         -9223372036854775808.0F, -9223372036854775808.0, "-9223372036854775808"},
        {ValueObject(UINT64_HIGHEST), VALUE_UINT64, true, -1, UINT_HIGHEST, -1, UINT64_HIGHEST, 18446744073709551616.0F,
         18446744073709551616.0, "18446744073709551615"},
        {ValueObject(true), VALUE_BOOL, true, 1, 1, 1, 1, 1, 1, "TRUE"},
        {ValueObject(false), VALUE_BOOL, false, 0, 0, 0, 0, 0, 0, "FALSE"},
        {ValueObject(0.1F), VALUE_FLOAT, true, 0, 0, 0, 0, 0.1F, static_cast<double>(0.1F), "0.1"},
        {ValueObject(-INF_F), VALUE_FLOAT, true, INT_LOWEST, 0, INT64_LOWEST, 0, -INF_F, -INF, "-inf"},
        {ValueObject(2147483648.0F), VALUE_FLOAT, true, 2147483647, 2147483648U, 2147483648LL, 2147483648ULL,
         2147483648.0F, 2147483648.0, "2.14748e+09"},
        {ValueObject(-2.9), VALUE_DOUBLE, true, -2, 0, -2, 0, -2.9F, -2.9, "-2.9"},
        {ValueObject(2.9), VALUE_DOUBLE, true, 2, 2, 2, 2, 2.9F, 2.9, "2.9"},
        {ValueObject(-0.0), VALUE_DOUBLE, false, 0, 0, 0, 0, -0.0F, -0.0, "-0"},
        {ValueObject(2147483647.9), VALUE_DOUBLE, true, 2147483647, 2147483647U, 2147483647, 2147483647ULL,
         2147483648.0F, 2147483647.9, "2.14748e+09"},
        {ValueObject(-2147483648.9), VALUE_DOUBLE, true, INT_LOWEST, 0, -2147483648LL, 0, -2147483648.0F, -2147483648.9,
         "-2.14748e+09"},
        {ValueObject(1e300), VALUE_DOUBLE, true, 2147483647, UINT_HIGHEST, INT64_HIGHEST, UINT64_HIGHEST, INF_F, 1e300,
         "1e+300"},
        {ValueObject(9223372036854775808.0), VALUE_DOUBLE, true, 2147483647, UINT_HIGHEST, INT64_HIGHEST,
         9223372036854775808ULL, 9223372036854775808.0F, 9223372036854775808.0, "9.22337e+18"},
        {ValueObject("42"s), VALUE_STRING, false, 0, 0, 0, 0, 0, 0, "42"},
        {ValueObject("a\"\0b"s), VALUE_STRING, false, 0, 0, 0, 0, 0, 0, "a\"\0b"s},
        {ValueObject(), VALUE_UNDEFINED, false, 0, 0, 0, 0, 0, 0, "Undefined"},
        {tagged(VALUE_NULL), VALUE_NULL, false, 0, 0, 0, 0, 0, 0, "null"},
        {tagged(10), static_cast<ValueObjectType>(10), false, 0, 0, 0, 0, 0, 0, ""},
        {tagged(-1), static_cast<ValueObjectType>(-1), false, 0, 0, 0, 0, 0, 0, ""},
        {list({}), VALUE_VECTOR, false, 0, 0, 0, 0, 0, 0, "[]"},
        {list({ValueObject(1), ValueObject("a"s), list({}), list({ValueObject(true), ValueObject()})}), VALUE_VECTOR,
         false, 0, 0, 0, 0, 0, 0, "[1,a,[],[TRUE,Undefined]]"},
    };
    return rows;
}

TEST(ValueObjectConversion, EveryTypeConvertsToEveryOther) {
    for (Conversion const& row : conversions()) {
        SCOPED_TRACE(row.text);
        IValueObject const& value = row.value;
        EXPECT_EQ(value.type(), row.type);
        EXPECT_EQ(static_cast<bool>(value), row.asBool);
        EXPECT_EQ(static_cast<int>(value), row.asInt);
        EXPECT_EQ(static_cast<unsigned int>(value), row.asUint);
        EXPECT_EQ(static_cast<long long>(value), row.asInt64);
        EXPECT_EQ(static_cast<unsigned long long>(value), row.asUint64);
        EXPECT_EQ(static_cast<float>(value), row.asFloat);
        EXPECT_EQ(static_cast<double>(value), row.asDouble);
        EXPECT_EQ(value.convertToStringType(), row.text);
        EXPECT_EQ(static_cast<std::string>(value), row.text);
        if (row.type != VALUE_VECTOR) {  // One entry, converted as above.
            std::vector<int> const ints = value;
            std::vector<unsigned int> const uints = value;
            std::vector<std::string> const texts = value;
            EXPECT_EQ(ints, std::vector{row.asInt});
            EXPECT_EQ(uints, std::vector{row.asUint});
            EXPECT_EQ(texts, std::vector{row.text});
        }
    }
}

TEST(ValueObjectConversion, NotANumberIsTrueAndConvertsToZero) {
    for (ValueObject const& value : {ValueObject(NOT_A_NUMBER), ValueObject(static_cast<float>(NOT_A_NUMBER))}) {
        EXPECT_TRUE(static_cast<bool>(value));
        EXPECT_EQ(static_cast<int>(value), 0);
        EXPECT_EQ(static_cast<unsigned int>(value), 0U);
        EXPECT_EQ(static_cast<long long>(value), 0);
        EXPECT_EQ(static_cast<unsigned long long>(value), 0U);
        EXPECT_EQ(value.convertToStringType(), "nan");
        EXPECT_FALSE(value == value);
    }
}

TEST(ValueObjectConversion, AListConvertsElementByElement) {
    ValueObject const value = list({ValueObject(1), ValueObject("a"s), list({ValueObject(7)}), ValueObject(-2.5)});
    EXPECT_EQ(value.convertToVectorT(0), (std::vector{1, 0, 0, -2}));
    EXPECT_EQ(value.convertToVectorT(0U), (std::vector{1U, 0U, 0U, 0U}));
    EXPECT_EQ(value.convertToVectorT(""s), (std::vector{"1"s, "a"s, "[7]"s, "-2.5"s}));
    EXPECT_EQ(list({}).convertToVectorT(""s), std::vector<std::string>{});
}

TEST(ValueObjectConversion, AByteThatIsNoBoolIsTrue) {
    ValueObject value(0);
    value.scalar.intValue = 2;
    value.typeTag = VALUE_BOOL;
    EXPECT_EQ(static_cast<int>(value), 1);
    EXPECT_EQ(value.convertToStringType(), "TRUE");
}

struct GroupedDigits : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ValueObjectRendering, NumbersReadAsPrintfWritesThemInEveryLocale) {
    auto const printed = [](double number) {
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%g", number);
        return std::string(text.data());
    };
    std::locale const previous = std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    for (double const number :
         {1.0, 0.1, 123456.0, 123456.789, 999999.5, 1e6, 0.0001, 0.00001, 1234567.0, 0.000099999949, 2.5e-308, 5e-324,
          1.7976931348623157e308, -0.0, 100.0, 1.0 / 3.0, -INF}) {
        EXPECT_EQ(ValueObject(number).convertToStringType(), printed(number));
        auto const narrow = static_cast<float>(number);
        EXPECT_EQ(ValueObject(narrow).convertToStringType(), printed(static_cast<double>(narrow)));
    }
    EXPECT_EQ(ValueObject(-1234567).convertToStringType(), "-1234567");
    EXPECT_EQ(ValueObject(UINT64_HIGHEST).convertToStringType(), "18446744073709551615");
    std::locale::global(previous);
}

TEST(ValueObjectEquality, ComparesInTheTypeOfTheLeftOperand) {
    struct Pair {
        ValueObject left;
        ValueObject right;
        bool equal;
    };
    std::vector<Pair> const pairs{
        {ValueObject(5), ValueObject(5.9), true},
        {ValueObject(5.9), ValueObject(5), false},
        {ValueObject(0), ValueObject("0"s), true},
        {ValueObject("0"s), ValueObject(0), false},
        {ValueObject(-1), ValueObject(UINT_HIGHEST), true},
        {ValueObject(1U), ValueObject(4294967297LL), true},
        {ValueObject(4294967297LL), ValueObject(1U), false},
        {ValueObject(UINT64_HIGHEST), ValueObject(-1), true},
        {ValueObject(true), ValueObject(7), true},
        {ValueObject(7), ValueObject(true), false},
        {ValueObject(0.1F), ValueObject(0.1), true},
        {ValueObject(0.1), ValueObject(0.1F), false},
        {ValueObject(0.0), ValueObject(-0.0), true},
        {ValueObject("a\0b"s), ValueObject("a\0b"s), true},
        {ValueObject("a\0b"s), ValueObject("a\0c"s), false},
        {ValueObject(), ValueObject(), true},
        {tagged(VALUE_NULL), tagged(VALUE_NULL), true},
        {ValueObject(), tagged(VALUE_NULL), false},
        {ValueObject(), ValueObject(0), false},
        {ValueObject(0), ValueObject(), true},
        {tagged(10), tagged(10), false},
        {list({}), ValueObject(), false},
        {list({ValueObject(1), ValueObject(2)}), list({ValueObject(1)}), false},
        {list({ValueObject(1)}), list({ValueObject(1), ValueObject(2)}), false},
        {list({ValueObject(5)}), list({ValueObject(5.9)}), true},
        {list({ValueObject(5.9)}), list({ValueObject(5)}), false},
        {list({tagged(10)}), list({tagged(10)}), false},
    };
    for (Pair const& pair : pairs) {
        EXPECT_EQ(pair.left == pair.right, pair.equal)
            << pair.left.convertToStringType() << " == " << pair.right.convertToStringType();
    }
}

TEST(ValueObjectAssignment, AScalarSetsItsTypeAndTouchesNoOtherMember) {
    ValueObject value(2.5);
    value = "text"s;
    EXPECT_EQ(value.type(), VALUE_STRING);
    EXPECT_EQ(value.scalar.doubleValue, 2.5);
    value = 4294967297LL;
    EXPECT_EQ(value.type(), VALUE_INT64);
    EXPECT_EQ(value.stringValue, "text");
    IValueObject& same = value = 1;
    EXPECT_EQ(&same, &value);
    EXPECT_EQ(value.type(), VALUE_INT);
    ValueObject other;
    EXPECT_EQ((other = true).type(), VALUE_BOOL);
    EXPECT_EQ((other = 1U).type(), VALUE_UINT);
    EXPECT_EQ((other = 1ULL).type(), VALUE_UINT64);
    EXPECT_EQ((other = 1.0F).type(), VALUE_FLOAT);
    EXPECT_EQ((other = 1.0).type(), VALUE_DOUBLE);
}

/// Fills every member, whatever the tag.
void fill(ValueObject& value, ValueObjectType tag) {
    value = 2.5;
    value.stringValue = "text";
    value.elements = {ValueObject(7)};
    value.typeTag = tag;
}

TEST(ValueObjectCopy, AConstructedObjectTakesOnlyWhatTheTagNames) {
    for (auto const tag : {VALUE_DOUBLE, VALUE_STRING, VALUE_VECTOR, VALUE_UNDEFINED}) {
        SCOPED_TRACE(tag);
        ValueObject source;
        fill(source, tag);
        ValueObject const copy(source);
        ValueObject const moved(std::move(source));
        for (ValueObject const* const taken : {&copy, &moved}) {
            EXPECT_EQ(taken->type(), tag);
            EXPECT_EQ(taken->scalar.doubleValue, tag == VALUE_DOUBLE ? 2.5 : 0.0);
            EXPECT_EQ(taken->stringValue, tag == VALUE_STRING ? "text" : "");
            EXPECT_EQ(taken->elements.size(), tag == VALUE_VECTOR ? 1U : 0U);
        }
        // NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what is left of the source is settled.
        EXPECT_EQ(source.type(), tag);
        EXPECT_EQ(source.stringValue, tag == VALUE_STRING ? "" : "text");
        EXPECT_EQ(source.elements.size(), tag == VALUE_VECTOR ? 0U : 1U);
        // NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    }
}

TEST(ValueObjectCopy, AnAssignedObjectTakesEverything) {
    ValueObject source;
    fill(source, VALUE_BOOL);
    auto const expectAll = [](ValueObject const& target) {
        EXPECT_EQ(target.type(), VALUE_BOOL);
        EXPECT_EQ(target.scalar.doubleValue, 2.5);
        EXPECT_EQ(target.stringValue, "text");
        EXPECT_EQ(target.elements.size(), 1U);
    };
    ValueObject target = list({ValueObject(1), ValueObject(2)});
    target = source;
    expectAll(target);
    target = std::move(source);
    expectAll(target);
    // NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what is left of the source is settled.
    EXPECT_EQ(source.type(), VALUE_BOOL);
    EXPECT_EQ(source.scalar.doubleValue, 2.5);
    EXPECT_EQ(source.stringValue, "");
    EXPECT_TRUE(source.elements.empty());
    // NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
}

TEST(ValueObjectCopy, ACopyIsDeep) {
    ValueObject const source = list({list({ValueObject(1)})});
    ValueObject copy = source;
    copy.elements[0].elements[0] = 2;
    EXPECT_EQ(source.convertToStringType(), "[[1]]");
    EXPECT_EQ(copy.convertToStringType(), "[[2]]");
}

TEST(ValueObjectCopy, AnObjectMayBeAssignedFromItselfAndFromInside) {
    auto const nested = [] { return list({ValueObject("x"s), list({ValueObject("deep"s), ValueObject(3)})}); };
    ValueObject value = nested();
    ValueObject const& self = value;
    value = self;
    EXPECT_EQ(value.convertToStringType(), "[x,[deep,3]]");
    value = std::move(const_cast<ValueObject&>(self));
    EXPECT_EQ(value.convertToStringType(), "[x,[deep,3]]");
    value = value.elements[1].elements[0].stringValue;
    EXPECT_EQ(value.convertToStringType(), "deep");
    value = nested();
    value = value.elements[1];
    EXPECT_EQ(value.convertToStringType(), "[deep,3]");
    value = nested();
    value = std::move(value.elements[1].elements[0]);
    EXPECT_EQ(value.convertToStringType(), "deep");
    EXPECT_TRUE(value.elements.empty());
}

}  // namespace
