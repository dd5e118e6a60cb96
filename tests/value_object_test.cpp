#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <cstdio>
#include <locale>
#include <tuple>

namespace {

using namespace orvane::system::support;
using namespace std::string_literals;

static_assert(!std::is_assignable_v<ValueObject&, char const*> && !std::is_constructible_v<ValueObject, char const*>);
static_assert(!std::is_assignable_v<IValueObject&, char const*>);
static_assert(std::is_nothrow_move_constructible_v<ValueObject> && std::is_nothrow_move_assignable_v<ValueObject>);

ValueObject tagged(int tag, std::vector<ValueObject> elements = {}) {
    ValueObject value(2);  // Its lowest byte is no bool.
    value.typeTag = static_cast<ValueObjectType>(tag);
    value.elements = std::move(elements);
    return value;
}

ValueObject list(std::vector<ValueObject> elements) { return tagged(VALUE_VECTOR, std::move(elements)); }

/// What the value converts to: bool, int, unsigned, long long, unsigned long long, float and double.
std::string scalarsOf(IValueObject const& value) {
    std::array<char, 200> text{};
    std::snprintf(text.data(), text.size(), "%d %d %u %lld %llu %.9g %.17g", static_cast<int>(static_cast<bool>(value)),
                  static_cast<int>(value), static_cast<unsigned int>(value), static_cast<long long>(value),
                  static_cast<unsigned long long>(value), static_cast<double>(static_cast<float>(value)),
                  static_cast<double>(value));
    return text.data();
}

TEST(ValueObject, EveryTypeConvertsToEveryOther) {
    std::string const none = "0 0 0 0 0 0 0";
    std::vector<std::tuple<ValueObject, int, std::string, std::string>> const rows{
        {ValueObject(-1), 1, "1 -1 4294967295 -1 18446744073709551615 -1 -1", "-1"},
        {ValueObject(INT_MIN), 1,
         "1 -2147483648 2147483648 -2147483648 18446744071562067968 -2.14748365e+09 -2147483648", "-2147483648"},
        {ValueObject(UINT_MAX), 2, "1 -1 4294967295 4294967295 4294967295 4.2949673e+09 4294967295", "4294967295"},
        {ValueObject(4294967297LL), 3, "1 1 1 4294967297 4294967297 4.2949673e+09 4294967297", "4294967297"},
        {ValueObject(LLONG_MIN), 3,
         "1 0 0 -9223372036854775808 9223372036854775808 -9.22337204e+18 -9.2233720368547758e+18",
         "-9223372036854775808"},
        {ValueObject(ULLONG_MAX), 4, "1 -1 4294967295 -1 18446744073709551615 1.84467441e+19 1.8446744073709552e+19",
         "18446744073709551615"},
        {ValueObject(true), 5, "1 1 1 1 1 1 1", "TRUE"},
        {tagged(5), 5, "1 1 1 1 1 1 1", "TRUE"},
        {ValueObject(0.1F), 6, "1 0 0 0 0 0.100000001 0.10000000149011612", "0.1"},
        {ValueObject(-HUGE_VALF), 6, "1 -2147483648 0 -9223372036854775808 0 -inf -inf", "-inf"},
        {ValueObject(2147483648.0F), 6, "1 2147483647 2147483648 2147483648 2147483648 2.14748365e+09 2147483648",
         "2.14748e+09"},
        {ValueObject(-2.9), 7, "1 -2 0 -2 0 -2.9000001 -2.8999999999999999", "-2.9"},
        {ValueObject(-0.0), 7, "0 0 0 0 0 -0 -0", "-0"},
        {ValueObject(9223372036854775808.0), 7,
         "1 2147483647 4294967295 9223372036854775807 9223372036854775808 9.22337204e+18 9.2233720368547758e+18",
         "9.22337e+18"},
        {ValueObject(1e300), 7,
         "1 2147483647 4294967295 9223372036854775807 18446744073709551615 inf 1.0000000000000001e+300", "1e+300"},
        {ValueObject(std::nan("")), 7, "1 0 0 0 0 nan nan", "nan"},
        {ValueObject("a\"\0b"s), 8, none, "a\"\0b"s},
        {ValueObject(), 255, none, "Undefined"},
        {tagged(0), 0, none, "null"},
        {tagged(10), 10, none, ""},
    };
    for (auto const& [value, type, scalars, text] : rows) {
        EXPECT_EQ(value.type(), type);
        EXPECT_EQ(scalarsOf(value), scalars);
        EXPECT_EQ(static_cast<std::string>(value), text);
        std::vector<int> const ints = value;  // One entry, converted as above.
        std::vector<unsigned int> const uints = value;
        std::vector<std::string> const texts = value;
        EXPECT_EQ(ints, std::vector{static_cast<int>(value)});
        EXPECT_EQ(uints, std::vector{static_cast<unsigned int>(value)});
        EXPECT_EQ(texts, std::vector{value.convertToStringType()});
    }
}

TEST(ValueObject, AListConvertsElementByElement) {
    ValueObject const value =
        list({ValueObject(1), ValueObject("a"s), list({ValueObject(true), list({})}), ValueObject(-2.5)});
    EXPECT_EQ(value.convertToStringType(), "[1,a,[TRUE,[]],-2.5]");
    EXPECT_EQ(scalarsOf(value), "0 0 0 0 0 0 0");
    EXPECT_EQ(value.convertToVectorT(0), (std::vector{1, 0, 0, -2}));
    EXPECT_EQ(value.convertToVectorT(0U), (std::vector{1U, 0U, 0U, 0U}));
    EXPECT_EQ(value.convertToVectorT(""s), (std::vector{"1"s, "a"s, "[TRUE,[]]"s, "-2.5"s}));
    EXPECT_TRUE(list({}).convertToVectorT(""s).empty());
}

struct GroupedDigits : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ValueObject, NumbersReadAsPrintfWritesThemInEveryLocale) {
    std::locale const previous = std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    auto const printed = [](double number) {
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%g", number);
        return std::string(text.data());
    };
    for (double const number : {1.0, 123456.0, 123456.789, 999999.5, 1e6, 0.0001, 0.00001, 0.000099999949, 5e-324,
                                1.7976931348623157e308, 100.0, 1.0 / 3.0}) {
        auto const single = static_cast<float>(number);
        EXPECT_EQ(ValueObject(number).convertToStringType(), printed(number));
        EXPECT_EQ(ValueObject(single).convertToStringType(), printed(static_cast<double>(single)));
    }
    EXPECT_EQ(ValueObject(-1234567).convertToStringType(), "-1234567");
    std::locale::global(previous);
}

TEST(ValueObject, EqualityComparesInTheTypeOfTheLeftOperand) {
    /// Left, right, whether left equals right, and whether right equals left.
    std::vector<std::tuple<ValueObject, ValueObject, bool, bool>> const pairs{
        {ValueObject(-5), ValueObject(-5.9), true, false},
        {ValueObject(3000000000U), ValueObject(3000000000.5), true, false},
        {ValueObject(0), ValueObject("0"s), true, false},
        {ValueObject(-1), ValueObject(UINT_MAX), true, true},
        {ValueObject(1U), ValueObject(4294967297LL), true, false},
        {ValueObject(4294967301LL), ValueObject(4294967301ULL), true, true},
        {ValueObject(4294967301LL), ValueObject(5ULL), false, false},
        {ValueObject(-1LL), ValueObject(-1.5), true, false},
        {ValueObject(9223372036854775808ULL), ValueObject(9223372036854775808.0), true, true},
        {ValueObject(true), ValueObject(7), true, false},
        {ValueObject(0.1F), ValueObject(0.1), true, false},
        {ValueObject(0.0), ValueObject(-0.0), true, true},
        {ValueObject(std::nan("")), ValueObject(std::nan("")), false, false},
        {ValueObject("a\0b"s), ValueObject("a\0c"s), false, false},
        {ValueObject("a\0b"s), ValueObject("a\0b"s), true, true},
        {ValueObject("null"s), tagged(0), false, false},
        {ValueObject(""s), ValueObject(), false, false},
        {ValueObject(), ValueObject(), true, true},
        {tagged(0), tagged(0), true, true},
        {ValueObject(), tagged(0), false, false},
        {ValueObject(0), ValueObject(), true, false},
        {list({}), ValueObject(), false, false},
        {list({ValueObject(1), ValueObject(2)}), list({ValueObject(1)}), false, false},
        {list({ValueObject(5)}), list({ValueObject(5.9)}), true, false},
        {list({tagged(10)}), list({tagged(10)}), false, false},
    };
    for (auto const& [left, right, equal, equalReversed] : pairs) {
        SCOPED_TRACE(left.convertToStringType() + " and " + right.convertToStringType());
        EXPECT_EQ(left == right, equal);
        EXPECT_EQ(right == left, equalReversed);
    }
}

constexpr unsigned long long FILLED = 0x0101010101010101;

/// Fills every member, whatever the tag.
void fill(ValueObject& value, int tag) {
    value.typeTag = static_cast<ValueObjectType>(tag);
    value.scalar.uint64Value = FILLED;
    value.stringValue = "text";
    value.elements = {ValueObject(7)};
}

// NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what is left of a source is settled.

void expectMembers(ValueObject const& value, int tag, unsigned long long scalar, bool string, bool elements) {
    EXPECT_EQ(value.type(), tag);
    EXPECT_EQ(value.scalar.uint64Value, scalar);
    EXPECT_EQ(value.stringValue, string ? "text" : "");
    EXPECT_EQ(value.elements.size(), elements ? 1U : 0U);
}

TEST(ValueObject, AScalarAssignmentSetsTheTypeAndTouchesNoOtherMember) {
    ValueObject value;
    auto const expectAssigned = [&value](auto const& assigned) {
        fill(value, VALUE_UNDEFINED);
        EXPECT_EQ(&(value = assigned), &value);
        ValueObject const made(assigned);
        EXPECT_TRUE(made == value);
        expectMembers(value, made.type(), made.type() == VALUE_STRING ? FILLED : value.scalar.uint64Value, true, true);
    };
    std::apply([&](auto const&... assigned) { (expectAssigned(assigned), ...); },
               std::tuple(false, -1, 1U, -1LL, 1ULL, 2.5F, 2.5, "text"s));
}

TEST(ValueObject, ConstructionTakesWhatTheTagNamesAndAssignmentTakesAll) {
    constexpr unsigned long long HALF = 0x01010101;
    int tag = 0;
    for (auto const scalar : {0ULL, HALF, HALF, FILLED, FILLED, 1ULL, HALF, FILLED, 0ULL, 0ULL, 0ULL}) {
        SCOPED_TRACE(tag);
        bool const string = tag == VALUE_STRING;
        bool const elements = tag == VALUE_VECTOR;
        ValueObject source;
        fill(source, tag);
        ValueObject assigned = list({ValueObject(1), ValueObject(2)});
        assigned = source;
        expectMembers(assigned, tag, FILLED, true, true);
        expectMembers(ValueObject(source), tag, scalar, string, elements);
        expectMembers(ValueObject(std::move(source)), tag, scalar, string, elements);
        expectMembers(source, tag, FILLED, !string, !elements);
        fill(source, tag);
        assigned = std::move(source);
        expectMembers(assigned, tag, FILLED, true, true);
        expectMembers(source, tag, FILLED, false, false);
        ++tag;
    }
}

// NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)

TEST(ValueObject, AnObjectMayBeAssignedFromItselfAndFromInside) {
    ValueObject const nested = list({ValueObject("x"s), list({ValueObject("deep"s), ValueObject(3)})});
    ValueObject value = nested;
    ValueObject& self = value;
    EXPECT_EQ((value = self).convertToStringType(), "[x,[deep,3]]");
    EXPECT_EQ((value = std::move(self)).convertToStringType(), "[x,[deep,3]]");
    EXPECT_EQ((value = value.elements[1].elements[0].stringValue).convertToStringType(), "deep");
    value = nested;
    EXPECT_EQ((value = value.elements[1]).convertToStringType(), "[deep,3]");
    value = nested;
    EXPECT_EQ((value = std::move(value.elements[1].elements[0])).convertToStringType(), "deep");
    EXPECT_TRUE(value.elements.empty());
    value = nested;
    value.elements[1].elements[0] = 4;
    EXPECT_EQ(nested.convertToStringType(), "[x,[deep,3]]");  // A copy is deep.
}

}  // namespace
