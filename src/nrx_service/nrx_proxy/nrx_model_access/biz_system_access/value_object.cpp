#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace orvane::system::support {

// A string literal must not become a bool, and lists of values are moved, not copied, when they grow.
static_assert(!std::is_constructible_v<ValueObject, char const*> && !std::is_assignable_v<ValueObject&, char const*>);
static_assert(!std::is_assignable_v<IValueObject&, char const*>);
static_assert(std::is_nothrow_move_constructible_v<ValueObject> && std::is_nothrow_move_assignable_v<ValueObject>);

namespace {

/// The bool alternative by its byte: the fields are public, and any other byte than 0 or 1 in a bool is undefined.
bool boolOf(ValueObject::Scalar const& scalar) {
    unsigned char byte = 0;
    std::memcpy(&byte, &scalar, sizeof byte);
    return byte != 0;
}

/// The size of the alternative that the tag names; 0 for a tag that names none.
std::size_t scalarSize(ValueObjectType tag) {
    switch (tag) {
        case VALUE_BOOL:
            return sizeof(ValueObject::Scalar::boolValue);
        case VALUE_INT:
        case VALUE_UINT:
        case VALUE_FLOAT:
            return sizeof(ValueObject::Scalar::intValue);
        case VALUE_INT64:
        case VALUE_UINT64:
        case VALUE_DOUBLE:
            return sizeof(ValueObject::Scalar::int64Value);
        default:
            return 0;
    }
}

template <typename Integer>
Integer truncate(double value) {
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(value)) {
        return 0;
    }
    // The power of two above the maximum is exact; the maximum itself need not be.
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

/// The number that a value holds, as the widest type of its kind: every conversion gives from it what it gives from the
/// number's own type. Nothing for a value that holds none.
using Number = std::variant<std::monostate, long long, unsigned long long, double>;

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

/// Of the text of anything but a string or a list: 20 digits and a sign, or six digits with point, sign and exponent.
constexpr std::size_t LONGEST_SCALAR = 21;

/// At least the length of the text of `value`.
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

/// In parts of 32 bits: a 32-bit processor has no instruction to divide larger numbers.
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

/// Writes the text of `value` at `at`, where there is room for it, and returns its end.
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
            at -= value.elements.empty() ? 0 : 1;  // The end takes the place of the last comma.
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

/// The text, put together on the stack when its bound is small: then only the result itself is allocated.
std::string written(ValueObject const& value) {
    std::size_t const bound = textBound(value);
    std::array<char, 256> shortText;
    std::unique_ptr<char[]> const longText(bound > shortText.size() ? new char[bound] : nullptr);
    char* const begin = longText ? longText.get() : shortText.data();
    return {begin, writeValue(begin, value)};
}

}  // namespace

IValueObject::~IValueObject() = default;

ValueObject::ValueObject() = default;
ValueObject::ValueObject(bool value) : typeTag(VALUE_BOOL) { scalar.boolValue = value; }
ValueObject::ValueObject(int value) : typeTag(VALUE_INT) { scalar.intValue = value; }
ValueObject::ValueObject(unsigned int value) : typeTag(VALUE_UINT) { scalar.uintValue = value; }
ValueObject::ValueObject(long long value) : typeTag(VALUE_INT64) { scalar.int64Value = value; }
ValueObject::ValueObject(unsigned long long value) : typeTag(VALUE_UINT64) { scalar.uint64Value = value; }
ValueObject::ValueObject(float value) : typeTag(VALUE_FLOAT) { scalar.floatValue = value; }
ValueObject::ValueObject(double value) : typeTag(VALUE_DOUBLE) { scalar.doubleValue = value; }
ValueObject::ValueObject(std::string const& value) : typeTag(VALUE_STRING), stringValue(value) {}

ValueObject::ValueObject(ValueObject const& other) : IValueObject(other), typeTag(other.typeTag) {
    if (typeTag == VALUE_STRING) {
        stringValue = other.stringValue;
    } else if (typeTag == VALUE_VECTOR) {
        elements = other.elements;
    } else {
        std::memcpy(&scalar, &other.scalar, scalarSize(typeTag));
    }
}

ValueObject::ValueObject(ValueObject&& other) noexcept : typeTag(other.typeTag) {
    if (typeTag == VALUE_STRING) {
        stringValue = std::move(other.stringValue);
        other.stringValue.clear();
    } else if (typeTag == VALUE_VECTOR) {
        elements.swap(other.elements);
    } else {
        std::memcpy(&scalar, &other.scalar, scalarSize(typeTag));
    }
}

ValueObject::~ValueObject() = default;

ValueObject& ValueObject::operator=(ValueObject const& other) {
    if (this != &other) {
        // Our elements, among which `other` may be, live until all of it is copied.
        std::vector<ValueObject> newElements = other.elements;
        std::string newString = other.stringValue;
        typeTag = other.typeTag;
        scalar = other.scalar;
        stringValue = std::move(newString);
        elements.swap(newElements);
    }
    return *this;
}

ValueObject& ValueObject::operator=(ValueObject&& other) noexcept {
    if (this != &other) {
        // Our elements, among which `other` may be, live until all of it is taken.
        std::vector<ValueObject> newElements;
        newElements.swap(other.elements);
        typeTag = other.typeTag;
        scalar = other.scalar;
        stringValue = std::move(other.stringValue);
        other.stringValue.clear();
        elements.swap(newElements);
    }
    return *this;
}

ValueObjectType ValueObject::type() const { return typeTag; }

ValueObject& ValueObject::operator=(bool value) {
    typeTag = VALUE_BOOL;
    scalar.boolValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(int value) {
    typeTag = VALUE_INT;
    scalar.intValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(unsigned int value) {
    typeTag = VALUE_UINT;
    scalar.uintValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(long long value) {
    typeTag = VALUE_INT64;
    scalar.int64Value = value;
    return *this;
}

ValueObject& ValueObject::operator=(unsigned long long value) {
    typeTag = VALUE_UINT64;
    scalar.uint64Value = value;
    return *this;
}

ValueObject& ValueObject::operator=(float value) {
    typeTag = VALUE_FLOAT;
    scalar.floatValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(double value) {
    typeTag = VALUE_DOUBLE;
    scalar.doubleValue = value;
    return *this;
}

ValueObject& ValueObject::operator=(std::string const& value) {
    stringValue = value;  // First: it may throw.
    typeTag = VALUE_STRING;
    return *this;
}

std::string ValueObject::convertToStringType() const { return typeTag == VALUE_STRING ? stringValue : written(*this); }

ValueObject::operator bool() const { return scalarOf<bool>(*this); }
ValueObject::operator int() const { return scalarOf<int>(*this); }
ValueObject::operator unsigned int() const { return scalarOf<unsigned int>(*this); }
ValueObject::operator long long() const { return scalarOf<long long>(*this); }
ValueObject::operator unsigned long long() const { return scalarOf<unsigned long long>(*this); }
ValueObject::operator float() const { return scalarOf<float>(*this); }
ValueObject::operator double() const { return scalarOf<double>(*this); }
ValueObject::operator std::string() const { return convertToStringType(); }
ValueObject::operator std::vector<unsigned int>() const { return convertToVectorT(0U); }
ValueObject::operator std::vector<int>() const { return convertToVectorT(0); }
ValueObject::operator std::vector<std::string>() const { return convertToVectorT(std::string()); }

template <typename T>
std::vector<T> ValueObject::convertToVectorT(T /*elementType*/) const {
    bool const isList = typeTag == VALUE_VECTOR;
    ValueObject const* const first = isList ? elements.data() : this;
    return std::vector<T>(first, first + (isList ? elements.size() : 1));
}

template NRX_EXPORT std::vector<unsigned int> ValueObject::convertToVectorT(unsigned int) const;
template NRX_EXPORT std::vector<int> ValueObject::convertToVectorT(int) const;
template NRX_EXPORT std::vector<std::string> ValueObject::convertToVectorT(std::string) const;

bool ValueObject::operator==(ValueObject const& other) const {
    auto const equalAs = [this, &other]<typename T>(T) { return scalarOf<T>(*this) == scalarOf<T>(other); };
    switch (typeTag) {
        case VALUE_NULL:
        case VALUE_UNDEFINED:
            return other.typeTag == typeTag;
        case VALUE_INT:
            return equalAs(int{});
        case VALUE_UINT:
            return equalAs(0U);
        case VALUE_INT64:
            return equalAs(0LL);
        case VALUE_UINT64:
            return equalAs(0ULL);
        case VALUE_BOOL:
            return equalAs(false);
        case VALUE_FLOAT:
            return equalAs(0.0F);
        case VALUE_DOUBLE:
            return equalAs(0.0);
        case VALUE_STRING:
            return other.typeTag == VALUE_STRING && stringValue == other.stringValue;
        case VALUE_VECTOR:
            return other.typeTag == VALUE_VECTOR && elements == other.elements;
        default:
            return false;
    }
}

}  // namespace orvane::system::support
