// Conversions between floating point and 32-bit integers give what the processor's own instructions give.

#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <optional>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

namespace {

using orvane::system::support::ValueObject;

// What the processor makes of `value`; nothing where its own instruction would not be a defined cast.
#ifdef __arm__
#define PROCESSORS_OWN(Integer, Floating, instruction, constraint, operand)  \
    std::optional<Integer> processorsOwn(Integer /*type*/, Floating value) { \
        float bits = 0;                                                      \
        asm(instruction " %0, " operand : "=t"(bits) : constraint(value));   \
        return std::bit_cast<Integer>(bits);                                 \
    }
PROCESSORS_OWN(int, float, "vcvt.s32.f32", "t", "%1")
PROCESSORS_OWN(int, double, "vcvt.s32.f64", "w", "%P1")
PROCESSORS_OWN(unsigned int, float, "vcvt.u32.f32", "t", "%1")
PROCESSORS_OWN(unsigned int, double, "vcvt.u32.f64", "w", "%P1")
#else
template <typename Integer, typename Floating>
std::optional<Integer> processorsOwn(Integer /*type*/, Floating value) {
    using Limits = std::numeric_limits<Integer>;
    double const whole = std::trunc(static_cast<double>(value));
    bool const fits = whole >= Limits::min() && whole <= Limits::max();
    return fits ? std::optional(static_cast<Integer>(value)) : std::nullopt;
}
#endif

template <typename Integer, typename Floating>
void expectAsTheProcessor(Floating value) {
    if (auto const expected = processorsOwn(Integer{}, value)) {
        EXPECT_EQ(static_cast<Integer>(ValueObject(value)), *expected) << value;
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

}  // namespace
