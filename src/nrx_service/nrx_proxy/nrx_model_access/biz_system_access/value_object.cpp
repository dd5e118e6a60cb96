#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

#include <cstring>
#include <type_traits>
#include <utility>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_scalar.h"

// Defines the constructors and assignments of `ValueObject`.

namespace orvane::system::support {

// A `ValueObject` accepts no pointers but pointers to text, and assignment through `IValueObject` accepts no pointers
// at all, because a pointer would convert to a bool. Moves throw no exceptions, so a growing vector moves its values
// and does not copy the values.
static_assert(!std::is_convertible_v<int*, ValueObject> && !std::is_assignable_v<ValueObject&, void (*)()>);
static_assert(!std::is_assignable_v<IValueObject&, char const*>);
static_assert(std::is_nothrow_move_constructible_v<ValueObject> && std::is_nothrow_move_assignable_v<ValueObject>);

namespace {

/// The size of the union's member for the tag, or 0 if the tag has no such member.
std::size_t scalarSize(ValueObjectType tag) {
    switch (tag) {
#define NRX_SIZE(T, TAG, ALTERNATIVE) \
    case TAG:                         \
        return sizeof(ValueObject::Scalar::ALTERNATIVE);
        NRX_SCALARS(NRX_SIZE)
#undef NRX_SIZE
        default:
            return 0;
    }
}

}  // namespace

IValueObject::~IValueObject() = default;

ValueObject::ValueObject() = default;
ValueObject::ValueObject(std::string const& value) : typeTag(VALUE_STRING), stringValue(value) {}

#define NRX_HOLD(T, TAG, ALTERNATIVE)                                                    \
    ValueObject::ValueObject(T value) : ValueObject() { ValueObject::operator=(value); } \
    ValueObject& ValueObject::operator=(T value) {                                       \
        typeTag = TAG;                                                                   \
        scalar.ALTERNATIVE = value;                                                      \
        return *this;                                                                    \
    }
NRX_SCALARS(NRX_HOLD)
#undef NRX_HOLD

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
        // `other` may be an element of this object, so the old elements exist until the copy is complete.
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
        // `other` may be an element of this object, so the old elements exist until the move is complete.
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

ValueObject& ValueObject::operator=(std::string const& value) {
    stringValue = value;  // If this copy throws, `typeTag` stays unchanged.
    typeTag = VALUE_STRING;
    return *this;
}

ValueObjectType ValueObject::type() const { return typeTag; }

}  // namespace orvane::system::support
