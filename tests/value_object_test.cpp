#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <tuple>

namespace {

using namespace orvane::system::support;
using namespace std::string_literals;
using V = ValueObject;  // For rows of one line.

ValueObject tagged(int tag, std::vector<ValueObject> elements = {}) {
    ValueObject value(2);  // Its lowest byte is no bool.
    value.typeTag = static_cast<ValueObjectType>(tag);
    value.elements = std::move(elements);
    return value;
}

ValueObject list(std::vector<ValueObject> elements) { return tagged(VALUE_VECTOR, std::move(elements)); }

/// The type and what converts to bool, int, unsigned, long long, unsigned long long, float, double and text.
std::string conversionsOf(IValueObject const& value) {
    std::ostringstream text;
    text << value.type() << ": " << static_cast<bool>(value) << ' ' << static_cast<int>(value) << ' '
         << static_cast<unsigned int>(value) << ' ' << static_cast<long long>(value) << ' '
         << static_cast<unsigned long long>(value) << ' ' << std::setprecision(7) << static_cast<float>(value) << ' '
         << std::setprecision(10) << static_cast<double>(value) << ' ' << static_cast<std::string>(value);
    return text.str();
}

TEST(ValueObject, EveryTypeConvertsToEveryOther) {
    std::vector<std::pair<V, std::string>> const rows{
        {V(-1), "1: 1 -1 4294967295 -1 18446744073709551615 -1 -1 -1"},
        {V(UINT_MAX), "2: 1 -1 4294967295 4294967295 4294967295 4.294967e+09 4294967295 4294967295"},
        {V(5000000007LL), "3: 1 705032711 705032711 5000000007 5000000007 5e+09 5000000007 5000000007"},
        {V(LLONG_MIN),
         "3: 1 0 0 -9223372036854775808 9223372036854775808 -9.223372e+18 -9.223372037e+18 -9223372036854775808"},
        {V(ULLONG_MAX), "4: 1 -1 4294967295 -1 18446744073709551615 1.844674e+19 1.844674407e+19 18446744073709551615"},
        {V(true), "5: 1 1 1 1 1 1 1 TRUE"},
        {V(false), "5: 0 0 0 0 0 0 0 FALSE"},
        {tagged(5), "5: 1 1 1 1 1 1 1 TRUE"},
        {V(0.1F), "6: 1 0 0 0 0 0.1 0.1000000015 0.1"},
        {V(-HUGE_VALF), "6: 1 -2147483648 0 -9223372036854775808 0 -inf -inf -inf"},
        {V(2147483647.5), "7: 1 2147483647 2147483647 2147483647 2147483647 2.147484e+09 2147483648 2.14748e+09"},
        {V(-2147483648.5), "7: 1 -2147483648 0 -2147483648 0 -2.147484e+09 -2147483648 -2.14748e+09"},
        {V(4294967295.5), "7: 1 2147483647 4294967295 4294967295 4294967295 4.294967e+09 4294967296 4.29497e+09"},
        {V(-2.9), "7: 1 -2 0 -2 0 -2.9 -2.9 -2.9"},
        {V(-0.0), "7: 0 0 0 0 0 -0 -0 -0"},
        {V(0x1p63),
         "7: 1 2147483647 4294967295 9223372036854775807 9223372036854775808 9.223372e+18 9.223372037e+18 9.22337e+18"},
        {V(1e300), "7: 1 2147483647 4294967295 9223372036854775807 18446744073709551615 inf 1e+300 1e+300"},
        {V(std::nan("")), "7: 1 0 0 0 0 nan nan nan"},
        {V("a\"\0b"s), "8: 0 0 0 0 0 0 0 a\"\0b"s},
        {V(), "255: 0 0 0 0 0 0 0 Undefined"},
        {tagged(0), "0: 0 0 0 0 0 0 0 null"},
        {tagged(10), "10: 0 0 0 0 0 0 0 "},
    };
    for (auto const& [value, conversions] : rows) {
        EXPECT_EQ(conversionsOf(value), conversions);
        EXPECT_EQ(value.convertToVectorT(0), std::vector{static_cast<int>(value)});  // One entry.
        EXPECT_EQ(value.convertToVectorT(""s), std::vector{value.convertToStringType()});
    }
}

TEST(ValueObject, AListConvertsElementByElement) {
    V const value = list({V(1), V("a"s), list({V(true), list({})}), V(-2.5)});
    EXPECT_EQ(conversionsOf(value), "9: 0 0 0 0 0 0 0 [1,a,[TRUE,[]],-2.5]");
    EXPECT_EQ(value.operator std::vector<int>(), (std::vector{1, 0, 0, -2}));
    EXPECT_EQ(value.operator std::vector<unsigned int>(), (std::vector{1U, 0U, 0U, 0U}));
    EXPECT_EQ(value.convertToVectorT(""s), (std::vector{"1"s, "a"s, "[TRUE,[]]"s, "-2.5"s}));
    EXPECT_TRUE(list({}).convertToVectorT(""s).empty());
    // Around the length from which a text is not put together on the stack any more; nothing is written behind its end.
    for (std::size_t count = 80; count < 120; ++count) {
        std::string const empties = list(std::vector(count, list({}))).convertToStringType();
        EXPECT_EQ(empties.size(), 3 * count + 1);
        EXPECT_EQ(list(std::vector(count, V(LLONG_MIN))).convertToStringType().size(), 21 * count + 1);
        EXPECT_EQ(list({V(empties), V(true)}).convertToStringType(), "[" + empties + ",TRUE]");
    }
}

struct GroupedDigits : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ValueObject, NumbersReadTheSameInEveryLocale) {
    std::locale const previous = std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    for (auto const& [number, text] : std::vector<std::pair<double, std::string>>{{100.0, "100"},
                                                                                  {123456.789, "123457"},
                                                                                  {999999.5, "1e+06"},
                                                                                  {0.0001, "0.0001"},
                                                                                  {1.0 / 3.0, "0.333333"},
                                                                                  {0.000099999949, "9.99999e-05"},
                                                                                  {5e-324, "4.94066e-324"},
                                                                                  {DBL_MAX, "1.79769e+308"}}) {
        EXPECT_EQ(V(number).convertToStringType(), text);
    }
    EXPECT_EQ(V(-1.0F / 3.0F).convertToStringType(), "-0.333333");
    EXPECT_EQ(ValueObject(-1234567).convertToStringType(), "-1234567");
    std::locale::global(previous);
}

TEST(ValueObject, EqualityComparesInTheTypeOfTheLeftOperand) {
    /// Left, right, whether left equals right, and whether right equals left.
    std::vector<std::tuple<ValueObject, ValueObject, bool, bool>> const pairs{
        {V(-5), V(-5.9), true, false},
        {V(3000000000U), V(3000000000.5), true, false},
        {V(-1), V(UINT_MAX), true, true},
        {V(1U), V(4294967297LL), true, false},
        {V(4294967301LL), V(5ULL), false, false},
        {V(-1LL), V(-1.5), true, false},
        {V(9223372036854775808ULL), V(9223372036854775808.0), true, true},
        {V(true), V(7), true, false},
        {V(0.1F), V(0.1), true, false},
        {V(std::nan("")), V(std::nan("")), false, false},
        {V("a\0b"s), V("a\0c"s), false, false},
        {V("a\0b"s), V("a\0b"s), true, true},
        {V("null"s), tagged(0), false, false},
        {V(""s), V(), false, false},
        {V(), V(), true, true},
        {tagged(0), tagged(0), true, true},
        {V(0), tagged(0), true, false},
        {list({}), V(), false, false},
        {list({V(1), V(2)}), list({V(1)}), false, false},
        {list({V(5)}), list({V(5.9)}), true, false},
        {list({tagged(10)}), list({tagged(10)}), false, false},
    };
    for (auto const& [left, right, equal, equalReversed] : pairs) {
        EXPECT_EQ(std::pair(left == right, right == left), std::pair(equal, equalReversed))
            << left.convertToStringType() << " and " << right.convertToStringType();
    }
}

constexpr unsigned long long FILLED = 0x0101010101010101;

void fill(V& value, int tag) {
    value.typeTag = static_cast<ValueObjectType>(tag);
    value.scalar.uint64Value = FILLED;
    value.stringValue = "text";
    value.elements = {V(7)};
}

// NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what is left of a source is settled.

void expectMembers(V const& value, int tag, unsigned long long scalar, bool string, bool elements) {
    EXPECT_EQ(std::tuple(value.type(), value.scalar.uint64Value, value.stringValue, value.elements.size()),
              std::tuple(tag, scalar, string ? "text" : "", elements ? 1U : 0U));
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
        ValueObject assigned = list({V(1), V(2)});
        assigned = source;
        expectMembers(assigned, tag, FILLED, true, true);
        expectMembers(V(source), tag, scalar, string, elements);
        expectMembers(V(std::move(source)), tag, scalar, string, elements);
        expectMembers(source, tag, FILLED, !string, !elements);
        fill(source, tag);
        ValueObject moved(2);
        moved = std::move(source);
        expectMembers(moved, tag, FILLED, true, true);
        expectMembers(source, tag, FILLED, false, false);
        ++tag;
    }
}

TEST(ValueObject, AnObjectMayBeAssignedFromItselfAndFromInside) {
    ValueObject const nested = list({V("x"s), list({V("deep"s), V(3)})});
    ValueObject value = nested;
    ValueObject& self = value;
    EXPECT_EQ((value = self).convertToStringType(), "[x,[deep,3]]");
    EXPECT_EQ((value = std::move(self)).convertToStringType(), "[x,[deep,3]]");
    EXPECT_EQ((value = value.elements[1].elements[0].stringValue).convertToStringType(), "deep");
    value = nested;
    EXPECT_EQ((value = value.elements[1]).convertToStringType(), "[deep,3]");
    value = nested;
    EXPECT_EQ((value = std::move(value.elements[1].elements[0])).convertToStringType(), "deep");
    EXPECT_EQ((value = std::move(self)).convertToStringType(), "deep");
    EXPECT_TRUE(value.elements.empty());
    value = nested;
    value.elements[1].elements[0] = 4;
    EXPECT_EQ(nested.convertToStringType(), "[x,[deep,3]]");  // A copy is deep.
}

// NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)

}  // namespace
