// Conversions between floating point and 32-bit integers give what the processor's own instructions give.

#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

namespace {

using orvane::system::support::ValueObject;

#ifdef __arm__
// The instructions themselves: beyond an integer's limits a cast is undefined, and they are not.
#define CONVERT(instruction, constraint, operand, value)                 \
    float result;                                                        \
    asm(instruction " %0, " operand : "=t"(result) : constraint(value)); \
    return result

template <typename Integer>
constexpr bool isConvertible(double /*value*/) {
    return true;
}
float bitsOf(int /*type*/, float value) { CONVERT("vcvt.s32.f32", "t", "%1", value); }
float bitsOf(int /*type*/, double value) { CONVERT("vcvt.s32.f64", "w", "%P1", value); }
float bitsOf(unsigned int /*type*/, float value) { CONVERT("vcvt.u32.f32", "t", "%1", value); }
float bitsOf(unsigned int /*type*/, double value) { CONVERT("vcvt.u32.f64", "w", "%P1", value); }

template <typename Integer, typename Floating>
Integer converted(Floating value) {
    return std::bit_cast<Integer>(bitsOf(Integer{}, value));
}
#else
template <typename Integer>
bool isConvertible(double value) {
    using Limits = std::numeric_limits<Integer>;
    return std::trunc(value) >= static_cast<double>(Limits::min()) &&
           std::trunc(value) <= static_cast<double>(Limits::max());
}

template <typename Integer, typename Floating>
Integer converted(Floating value) {
    return static_cast<Integer>(value);
}
#endif

template <typename Integer, typename Floating>
void expectAsTheProcessor(Floating value) {
    if (isConvertible<Integer>(static_cast<double>(value))) {
        EXPECT_EQ(static_cast<Integer>(ValueObject(value)), converted<Integer>(value)) << value;
    }
}

TEST(ValueObject, ConvertsFloatingPointAsTheProcessorDoes) {
    for (double const value :
         {0.0, 0.5, 2.9, 16777217.0, 2147483647.0, 2147483647.5, 2147483648.0, 2147483648.5, 4294967295.0, 4294967295.5,
          4294967296.0, 9.3e18, DBL_MIN, DBL_MAX, HUGE_VAL, std::nan("")}) {
        for (double const number : {value, -value}) {
            expectAsTheProcessor<int>(number);
            expectAsTheProcessor<unsigned int>(number);
            expectAsTheProcessor<int>(static_cast<float>(number));
            expectAsTheProcessor<unsigned int>(static_cast<float>(number));
        }
    }
}

TEST(ValueObject, ConvertsIntegersAsTheProcessorDoes) {
    for (int const number : {0, 1, 16777217, 33554431, INT_MAX, INT_MIN, -16777219}) {
        auto const natural = static_cast<unsigned int>(number);
        EXPECT_EQ(static_cast<float>(ValueObject(number)), static_cast<float>(number));
        EXPECT_EQ(static_cast<double>(ValueObject(number)), static_cast<double>(number));
        EXPECT_EQ(static_cast<float>(ValueObject(natural)), static_cast<float>(natural));
        EXPECT_EQ(static_cast<double>(ValueObject(natural)), static_cast<double>(natural));
    }
}

}  // namespace
