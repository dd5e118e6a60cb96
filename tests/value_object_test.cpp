#include <climits>
#include <cmath>
#include <iomanip>
#include <locale>
#include <sstream>

#include "support.h"

namespace test::value_object_test {

using V = ValueObject;  // Keeps each row in one line.

ValueObject tagged(int tag) {
    ValueObject value(2);  // The lowest byte of 2 is not a bool.
    value.typeTag = static_cast<ValueObjectType>(tag);
    return value;
}

/// Returns the type and the conversions to bool, int, unsigned, long long, unsigned long long, float, double and text.
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
        {tagged(0), "0: 0 0 0 0 0 0 0 null"},
        {V(-1), "1: 1 -1 4294967295 -1 18446744073709551615 -1 -1 -1"},
        {V(UINT_MAX), "2: 1 -1 4294967295 4294967295 4294967295 4.294967e+09 4294967295 4294967295"},
        {V(5000000007LL), "3: 1 705032711 705032711 5000000007 5000000007 5e+09 5000000007 5000000007"},
        {V(ULLONG_MAX), "4: 1 -1 4294967295 -1 18446744073709551615 1.844674e+19 1.844674407e+19 18446744073709551615"},
        {V(false), "5: 0 0 0 0 0 0 0 FALSE"},
        {tagged(5), "5: 1 1 1 1 1 1 1 TRUE"},
        {V(0.1F), "6: 1 0 0 0 0 0.1 0.1000000015 0.1"},
        {V(-HUGE_VALF), "6: 1 -2147483648 0 -9223372036854775808 0 -inf -inf -inf"},
        {V(-2147483648.5), "7: 1 -2147483648 0 -2147483648 0 -2.147484e+09 -2147483648 -2.14748e+09"},
        {V(0x1p63),
         "7: 1 2147483647 4294967295 9223372036854775807 9223372036854775808 9.223372e+18 9.223372037e+18 9.22337e+18"},
        {V(1e300), "7: 1 2147483647 4294967295 9223372036854775807 18446744073709551615 inf 1e+300 1e+300"},
        {V(std::nan("")), "7: 1 0 0 0 0 nan nan nan"},
        {V("4\0\""s), "8: 0 0 0 0 0 0 0 4\0\""s},
        {listOf({V(1), V("a"s), listOf({V(true), listOf({})})}), "9: 0 0 0 0 0 0 0 [1,a,[TRUE,[]]]"},
        {tagged(9), "9: 0 0 0 0 0 0 0 []"},
        {tagged(10), "10: 0 0 0 0 0 0 0 "},
        {V(), "255: 0 0 0 0 0 0 0 Undefined"},
    };
    for (auto const& [value, conversions] : rows) {
        EXPECT_EQ(conversionsOf(value), conversions);
    }
}

struct GroupedDigits : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(ValueObject, NumbersReadTheSameInEveryLocale) {
    std::locale const previous = std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
    EXPECT_EQ(listOf({V(100.0), V(123456.789), V(999999.5), V(0.0001), V(1e-5), V(-1.0F / 3.0F), V(-1234567)})
                  .convertToStringType(),
              "[100,123457,1e+06,0.0001,1e-05,-0.333333,-1234567]");
    std::locale::global(previous);
}

TEST(ValueObject, EqualityComparesInTheTypeOfTheLeftOperand) {
    std::vector<std::tuple<V, V, bool, bool>> const pairs{
        {V(-1), V(UINT_MAX), true, true},
        {V(9223372036854775808ULL), V(9223372036854775808.0), true, true},
        {V(std::nan("")), V(std::nan("")), false, false},
        {V("a\0b"s), V("a\0c"s), false, false},
        {V(), V(), true, true},
        {V(), listOf({}), false, false},
        {tagged(10), tagged(10), false, false},
    };
    for (auto const& [left, right, equal, equalReversed] : pairs) {
        EXPECT_EQ(std::pair(left == right, right == left), std::pair(equal, equalReversed))
            << left.convertToStringType() << " and " << right.convertToStringType();
    }
}

}  // namespace test::value_object_test
