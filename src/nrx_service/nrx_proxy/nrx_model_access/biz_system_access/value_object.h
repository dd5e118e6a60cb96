#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_export.h"

namespace orvane::system::support {

/// The type of a value. A value whose `typeTag` is none of these enumerators has an empty text, converts like an
/// empty string, and equals no value, not even itself.
enum ValueObjectType : std::int32_t {
    VALUE_NULL = 0,
    VALUE_INT = 1,
    VALUE_UINT = 2,
    VALUE_INT64 = 3,
    VALUE_UINT64 = 4,
    VALUE_BOOL = 5,
    VALUE_FLOAT = 6,
    VALUE_DOUBLE = 7,
    VALUE_STRING = 8,
    VALUE_VECTOR = 9,
    VALUE_UNDEFINED = 255,
};

namespace detail {

/// Whether `T` is text: a pointer that converts to `char const*`. `ValueObject` refuses all other pointers, because the
/// language would convert them to bool.
template <typename T>
inline constexpr bool IS_TEXT = std::conjunction_v<std::is_pointer<T>, std::is_convertible<T, char const*>>;
template <typename T>
inline constexpr bool IS_POINTER = std::is_pointer_v<T> || std::is_member_pointer_v<T> || std::is_null_pointer_v<T>;

inline std::string textOf(char const* text) { return text != nullptr ? std::string(text) : std::string(); }

}  // namespace detail

/// A model value as handlers receive it.
///
/// Conversions never fail. A number or a bool converts to every scalar type:
/// - to bool by comparison with zero,
/// - from an integer type to an integer type modulo 2 to the power of the target's width in bits,
/// - from floating point to an integer type by truncation, limited to the target's range. NaN becomes 0.
///
/// Any other value converts to 0 or false as a scalar. Strings are not parsed. Every value converts to text. Several
/// threads may call const operations at once.
///
/// The order of the virtual operations is a binary contract. Convert to a list by copy-initialisation
/// (`std::vector<std::string> list = value;`): direct initialisation would also consider the list's size constructor.
class NRX_EXPORT IValueObject {
public:
    virtual ~IValueObject();
    /// The type of the value.
    virtual ValueObjectType type() const = 0;

    /// @name Assignments
    /// @{

    /// Assigns a copy of the argument, and its type. Changes nothing if memory runs out.
    virtual IValueObject& operator=(bool value) = 0;
    virtual IValueObject& operator=(int value) = 0;
    virtual IValueObject& operator=(unsigned int value) = 0;
    virtual IValueObject& operator=(long long value) = 0;
    virtual IValueObject& operator=(unsigned long long value) = 0;
    virtual IValueObject& operator=(float value) = 0;
    virtual IValueObject& operator=(double value) = 0;
    virtual IValueObject& operator=(std::string const& value) = 0;
    /// @}

    /// @name Refused assignments
    /// @{

    /// Refuses pointers, including string literals: use a `std::string`.
    template <typename Pointer, std::enable_if_t<detail::IS_POINTER<Pointer>, int> = 0>
    IValueObject& operator=(Pointer value) = delete;
    template <typename Pointer, std::enable_if_t<detail::IS_POINTER<Pointer>, int> = 0>
    IValueObject& operator=(std::initializer_list<Pointer> values) = delete;
    /// @}

    /// The value as text: "null", "Undefined", decimal numbers, "TRUE" or "FALSE", floating point with six significant
    /// digits, a string as it is, a list as its elements' texts between brackets with commas. The text is the
    /// same in every locale.
    virtual std::string convertToStringType() const = 0;

    /// @name Scalar conversions
    /// @{

    /// Returns the value as a scalar, by the rules of the class. Never fails.
    virtual operator bool() const = 0;
    virtual operator int() const = 0;
    virtual operator unsigned int() const = 0;
    virtual operator long long() const = 0;
    virtual operator unsigned long long() const = 0;
    virtual operator float() const = 0;
    virtual operator double() const = 0;
    /// @}

    virtual operator std::string() const = 0;  ///< Like `convertToStringType`.

    /// @name List conversions
    /// @{

    /// A list converts element by element. Any other value converts to a list of one element.
    virtual operator std::vector<unsigned int>() const = 0;
    virtual operator std::vector<int>() const = 0;
    virtual operator std::vector<std::string>() const = 0;
    /// @}

protected:
    IValueObject() = default;
    IValueObject(IValueObject const&) = default;             ///< For derived classes.
    IValueObject& operator=(IValueObject const&) = default;  ///< For derived classes.
};

/// The variant value: a scalar, a string or a list of further values, held by value.
///
/// The caller's stack limits the depth of nested lists. The fields are public. To build a list, set `typeTag` to
/// `VALUE_VECTOR` and append to `elements`. The elements are plain `ValueObject`s: an element of a derived class would
/// be sliced.
///
/// Construct a value from its content: `ValueObject value = 5;`, `list.elements.push_back("text")`. Because the class
/// converts from and to many types, some expressions are ambiguous and do not compile. Write
/// - `value == ValueObject(5)` instead of `value == 5`,
/// - `!(value == other)` instead of `value != other` before C++20,
/// - `std::string text = value` or `convertToStringType` instead of `text = value` and `std::string{value}`,
/// - `value = ValueObject()` instead of `value = {}`,
/// - a cast to or from `long long` instead of a conversion to or from `long` (`size_t` and `int64_t` on x86-64).
///
/// `nullptr` and pointers to anything but text are refused. Some mistakes compile: a lambda without captures, or an
/// object of a class that converts to a pointer, becomes a bool. `ValueObject({"a", "b"})` makes no list: the language
/// takes the two literals as the begin and the end of one string. C++20 reads `text == value` as
/// `value == ValueObject(text)`.
class NRX_EXPORT ValueObject : public IValueObject {
public:
    ValueObject();  ///< `VALUE_UNDEFINED`.

    /// @name Construction from the content
    /// @{

    /// Copies the argument, and its type. Text becomes a string. A null pointer to text becomes an empty string.
    ValueObject(bool value);
    ValueObject(int value);
    ValueObject(unsigned int value);
    ValueObject(long long value);
    ValueObject(unsigned long long value);
    ValueObject(float value);
    ValueObject(double value);
    ValueObject(std::string const& value);
    ValueObject(char const* value) : ValueObject(detail::textOf(value)) {}
    /// @}

    /// Refuses all other pointers.
    template <typename Pointer, std::enable_if_t<detail::IS_POINTER<Pointer> && !detail::IS_TEXT<Pointer>, int> = 0>
    ValueObject(Pointer value) = delete;

    /// Copies the tag and the tag's member. The other members are empty.
    ValueObject(ValueObject const& other);
    /// Moves the tag and the tag's member. The source keeps its tag and loses its string or list.
    ValueObject(ValueObject&& other) noexcept;
    ~ValueObject() override;

    /// Copies all members, whatever the tag. `other` may be this object or an element of it, at any depth.
    ValueObject& operator=(ValueObject const& other);
    /// Moves all members. The source keeps the tag and the scalar and loses the string and the list. The source must
    /// not contain this object.
    ValueObject& operator=(ValueObject&& other) noexcept;

    ValueObjectType type() const override;

    /// @name Assignments
    /// @{

    /// Assigns as `IValueObject` describes. Text is stored as in the constructors. The fields for other types
    /// stay unchanged.
    ValueObject& operator=(bool value) override;
    ValueObject& operator=(int value) override;
    ValueObject& operator=(unsigned int value) override;
    ValueObject& operator=(long long value) override;
    ValueObject& operator=(unsigned long long value) override;
    ValueObject& operator=(float value) override;
    ValueObject& operator=(double value) override;
    ValueObject& operator=(std::string const& value) override;
    ValueObject& operator=(char const* value) { return *this = detail::textOf(value); }
    /// @}

    /// @name Refused assignments
    /// @{

    /// Refuses all other pointers.
    template <typename Pointer, std::enable_if_t<detail::IS_POINTER<Pointer> && !detail::IS_TEXT<Pointer>, int> = 0>
    ValueObject& operator=(Pointer value) = delete;
    template <typename Pointer, std::enable_if_t<detail::IS_POINTER<Pointer>, int> = 0>
    ValueObject& operator=(std::initializer_list<Pointer> values) = delete;
    /// @}

    std::string convertToStringType() const override;
    operator bool() const override;
    operator int() const override;
    operator unsigned int() const override;
    operator long long() const override;
    operator unsigned long long() const override;
    operator float() const override;
    operator double() const override;
    operator std::string() const override;
    operator std::vector<unsigned int>() const override;
    operator std::vector<int>() const override;
    operator std::vector<std::string>() const override;

    /// The list conversion. The argument only selects the element type: `unsigned int`, `int` or `std::string`.
    template <typename T>
    std::vector<T> convertToVectorT(T elementType) const;

    /// Converts the right operand to the type of the left operand and compares, so the result is not symmetric. Strings
    /// equal only strings, and lists equal only lists.
    bool operator==(ValueObject const& other) const;

    ValueObjectType typeTag = VALUE_UNDEFINED;  ///< The type of the value.
    /// Storage for any scalar. `typeTag` selects the member. The comment beside a member names the member's tag.
    union Scalar {
        bool boolValue;                      ///< `VALUE_BOOL`
        int intValue;                        ///< `VALUE_INT`
        unsigned int uintValue;              ///< `VALUE_UINT`
        long long int64Value;                ///< `VALUE_INT64`
        unsigned long long uint64Value = 0;  ///< `VALUE_UINT64`
        float floatValue;                    ///< `VALUE_FLOAT`
        double doubleValue;                  ///< `VALUE_DOUBLE`
    } scalar;                                ///< The value, if the tag is 1 to 7.
    std::string stringValue;                 ///< The value, if the tag is `VALUE_STRING`.
    std::vector<ValueObject> elements;       ///< The value, if the tag is `VALUE_VECTOR`.
};

}  // namespace orvane::system::support
