#include <array>
#include <charconv>
#include <limits>
#include <memory>
#include <string_view>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_scalar.h"

// The text of a value.

namespace orvane::system::support {

namespace {

/// An upper bound for the length of a scalar's text: 20 digits and a sign. Floating-point texts are shorter.
constexpr std::size_t LONGEST_SCALAR = 21;

/// An upper bound for the length of the text of `value`.
std::size_t textBound(ValueObject const& value) {
    if (value.typeTag == VALUE_STRING) {
        return value.stringValue.size();
    }
    if (value.typeTag != VALUE_VECTOR) {
        return LONGEST_SCALAR;
    }
    std::size_t bound = 2;
    for (ValueObject const& element : value.elements) {
        bound += textBound(element) + 1;
    }
    return bound;
}

char* writeText(char* at, std::string_view text) { return at + text.copy(at, text.size()); }

/// Makes digits only from parts of at most 32 bits, because a 32-bit processor divides 64-bit numbers slowly.
char* writeNatural(char* at, unsigned long long number) {
    using Limits = std::numeric_limits<unsigned int>;
    constexpr int PART_DIGITS = 9;
    constexpr unsigned int PART = 1'000'000'000;
    if (number <= Limits::max()) {
        return std::to_chars(at, at + Limits::digits10 + 1, static_cast<unsigned int>(number)).ptr;
    }
    char* const middle = writeNatural(at, number / PART);
    char* const end = middle + PART_DIGITS;
    auto part = static_cast<unsigned int>(number % PART);
    for (char* digit = end; digit != middle; part /= 10) {
        *--digit = static_cast<char>('0' + part % 10);
    }
    return end;
}

char* writeInteger(char* at, long long number) {
    if (number < 0) {
        *at++ = '-';
        return writeNatural(at, 0 - static_cast<unsigned long long>(number));
    }
    return writeNatural(at, static_cast<unsigned long long>(number));
}

char* writeFloating(char* at, double number) {
    constexpr int DIGITS = 6;
    return std::to_chars(at, at + LONGEST_SCALAR, number, std::chars_format::general, DIGITS).ptr;
}

/// Writes the text of `value` to `at` and returns the text's end. The caller provides the space.
char* writeValue(char* at, ValueObject const& value) {
    switch (value.typeTag) {
        case VALUE_NULL:
            return writeText(at, "null");
        case VALUE_UNDEFINED:
            return writeText(at, "Undefined");
        case VALUE_BOOL:
            return boolOf(value.scalar) ? writeText(at, "TRUE") : writeText(at, "FALSE");
        case VALUE_STRING:
            return writeText(at, value.stringValue);
        case VALUE_VECTOR:
            *at++ = '[';
            for (ValueObject const& element : value.elements) {
                at = writeValue(at, element);
                *at++ = ',';
            }
            at -= value.elements.empty() ? 0 : 1;  // The closing bracket replaces the last comma.
            *at++ = ']';
            return at;
        case VALUE_INT:
            return writeInteger(at, value.scalar.intValue);
        case VALUE_UINT:
            return writeNatural(at, value.scalar.uintValue);
        case VALUE_INT64:
            return writeInteger(at, value.scalar.int64Value);
        case VALUE_UINT64:
            return writeNatural(at, value.scalar.uint64Value);
        case VALUE_FLOAT:
            return writeFloating(at, value.scalar.floatValue);
        case VALUE_DOUBLE:
            return writeFloating(at, value.scalar.doubleValue);
        default:
            return at;
    }
}

/// Returns the text. Builds a short text in an array on the stack, so that only the returned string is allocated.
std::string written(ValueObject const& value) {
    std::size_t const bound = textBound(value);
    std::array<char, 256> shortText;
    std::unique_ptr<char[]> const longText(bound > shortText.size() ? new char[bound] : nullptr);
    char* const begin = longText ? longText.get() : shortText.data();
    return {begin, writeValue(begin, value)};
}

}  // namespace

std::string ValueObject::convertToStringType() const { return typeTag == VALUE_STRING ? stringValue : written(*this); }

ValueObject::operator std::string() const { return convertToStringType(); }

}  // namespace orvane::system::support
