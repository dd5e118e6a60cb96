#include <cmath>
#include <limits>
#include <type_traits>
#include <variant>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_scalar.h"

// Defines the conversions and the comparison of `ValueObject`.

namespace orvane::system::support {

namespace {

template <typename Integer>
Integer truncate(double value) {
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(value)) {
        return 0;
    }
    // A double represents the power of two above the maximum exactly, but may round the maximum.
    if (value >= std::ldexp(1.0, Limits::digits)) {
        return Limits::max();
    }
    if (value <= static_cast<double>(Limits::min())) {
        return Limits::min();
    }
    return static_cast<Integer>(value);
}

template <typename To, typename From>
To convertNumber(From value) {
    if constexpr (std::is_same_v<To, bool>) {
        return value != From{};
    } else if constexpr (std::is_floating_point_v<From> && std::is_integral_v<To>) {
        return truncate<To>(value);
    } else {
        return static_cast<To>(value);
    }
}

using Number = std::variant<std::monostate, long long, unsigned long long, double>;

/// Returns a value's number, widened, or nothing for a value without a number. Conversion of the widened number to any
/// scalar type gives the same result as conversion of the original number.
Number numberOf(ValueObject const& value) {
    auto const& scalar = value.scalar;
    switch (value.typeTag) {
        case VALUE_INT:
            return static_cast<long long>(scalar.intValue);
        case VALUE_UINT:
            return static_cast<long long>(scalar.uintValue);
        case VALUE_INT64:
            return scalar.int64Value;
        case VALUE_UINT64:
            return scalar.uint64Value;
        case VALUE_BOOL:
            return static_cast<long long>(boolOf(scalar));
        case VALUE_FLOAT:
            return static_cast<double>(scalar.floatValue);
        case VALUE_DOUBLE:
            return scalar.doubleValue;
        default:
            return {};
    }
}

template <typename To>
To scalarOf(ValueObject const& value) {
    Number const number = numberOf(value);
    if (auto const* const integer = std::get_if<long long>(&number)) {
        return convertNumber<To>(*integer);
    }
    if (auto const* const natural = std::get_if<unsigned long long>(&number)) {
        return convertNumber<To>(*natural);
    }
    if (auto const* const floating = std::get_if<double>(&number)) {
        return convertNumber<To>(*floating);
    }
    return {};
}

template <typename T>
std::vector<T> listOf(ValueObject const& value) {
    bool const isList = value.typeTag == VALUE_VECTOR;
    ValueObject const* const first = isList ? value.elements.data() : &value;
    return std::vector<T>(first, first + (isList ? value.elements.size() : 1));
}

}  // namespace

#define NRX_CONVERT(T, TAG, ALTERNATIVE) \
    ValueObject::operator T() const { return scalarOf<T>(*this); }
NRX_SCALARS(NRX_CONVERT)
#undef NRX_CONVERT

ValueObject::operator std::vector<unsigned int>() const { return listOf<unsigned int>(*this); }
ValueObject::operator std::vector<int>() const { return listOf<int>(*this); }
ValueObject::operator std::vector<std::string>() const { return listOf<std::string>(*this); }

template <typename T>
std::vector<T> ValueObject::convertToVectorT(T /*elementType*/) const {
    return listOf<T>(*this);
}

template NRX_EXPORT std::vector<unsigned int> ValueObject::convertToVectorT(unsigned int) const;
template NRX_EXPORT std::vector<int> ValueObject::convertToVectorT(int) const;
template NRX_EXPORT std::vector<std::string> ValueObject::convertToVectorT(std::string) const;

bool ValueObject::operator==(ValueObject const& other) const {
    switch (typeTag) {
        case VALUE_NULL:
        case VALUE_UNDEFINED:
            return other.typeTag == typeTag;
        case VALUE_STRING:
            return other.typeTag == VALUE_STRING && stringValue == other.stringValue;
        case VALUE_VECTOR:
            return other.typeTag == VALUE_VECTOR && elements == other.elements;
#define NRX_EQUAL(T, TAG, ALTERNATIVE) \
    case TAG:                          \
        return scalarOf<T>(*this) == scalarOf<T>(other);
            NRX_SCALARS(NRX_EQUAL)
#undef NRX_EQUAL
        default:
            return false;
    }
}

}  // namespace orvane::system::support
