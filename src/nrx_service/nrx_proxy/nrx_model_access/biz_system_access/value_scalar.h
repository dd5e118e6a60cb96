#pragma once

#include <cstring>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

// Private to the value object.

/// The scalar types of a value: SCALAR(C++ type, tag, alternative of the union).
#define NRX_SCALARS(SCALAR)                               \
    SCALAR(bool, VALUE_BOOL, boolValue)                   \
    SCALAR(int, VALUE_INT, intValue)                      \
    SCALAR(unsigned int, VALUE_UINT, uintValue)           \
    SCALAR(long long, VALUE_INT64, int64Value)            \
    SCALAR(unsigned long long, VALUE_UINT64, uint64Value) \
    SCALAR(float, VALUE_FLOAT, floatValue)                \
    SCALAR(double, VALUE_DOUBLE, doubleValue)

namespace orvane::system::support {

/// Reads the bool alternative as a byte, because callers may write any byte to the public field `scalar`, and reading a
/// bool that is neither 0 nor 1 is undefined.
inline bool boolOf(ValueObject::Scalar const& scalar) {
    unsigned char byte = 0;
    std::memcpy(&byte, &scalar, sizeof byte);
    return byte != 0;
}

}  // namespace orvane::system::support
