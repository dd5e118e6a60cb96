#pragma once

#include <cmath>
#include <cstring>
#include <limits>

#include "fuzz/harness.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

/// The reference model of the value objects: their members after each operation, and their conversions.
namespace fuzz {

using namespace orvane::system::support;

/// The members of a value object.
struct ReferenceValue {
    std::int32_t tag = VALUE_UNDEFINED;
    unsigned long long scalarBits = 0;  ///< The bytes of the union.
    std::string text{};
    std::vector<ReferenceValue> elements{};
};

/// Calls `visit` with the value's number, in the type that the tag names, and returns the result. Returns `fallback` if
/// the tag does not name a type of numbers.
template <typename Result, typename Visit>
Result visitNumber(ReferenceValue const& model, Result fallback, Visit const& visit) {
    std::tuple<int, unsigned int, long long, unsigned long long, bool, float, double> numbers;  // In the tags' order.
    std::int32_t next = VALUE_INT;
    auto const visitIfNext = [&]<typename Number>(Number& number) {
        if constexpr (std::is_same_v<Number, bool>) {
            number = model.scalarBits % 256 != 0;
        } else {
            std::memcpy(&number, &model.scalarBits, sizeof number);
        }
        bool const isNamed = model.tag == next++;
        fallback = isNamed ? visit(number) : fallback;
        return isNamed;
    };
    std::apply([&](auto&... each) { return (visitIfNext(each) || ...); }, numbers);
    return fallback;
}

inline std::string expectedText(ReferenceValue const& model) {
    std::string text{};
    switch (model.tag) {
        case VALUE_NULL:
            return "null";
        case VALUE_UNDEFINED:
            return "Undefined";
        case VALUE_STRING:
            return model.text;
        case VALUE_VECTOR:
            for (ReferenceValue const& element : model.elements) {
                text += (text.empty() ? "[" : ",") + expectedText(element);
            }
            return (text.empty() ? "[" : text) + "]";
        default:
            return visitNumber(model, text, []<typename Number>(Number number) -> std::string {
                if constexpr (std::is_same_v<Number, bool>) {
                    return number ? "TRUE" : "FALSE";
                } else if constexpr (std::is_integral_v<Number>) {
                    return std::to_string(number);
                } else {
                    std::array<char, 32> digits{};
                    std::snprintf(digits.data(), digits.size(), "%g", static_cast<double>(number));
                    return digits.data();
                }
            });
    }
}

/// Returns the text or the number that the value converts to. An integer converts to an integer modulo 2^N, where N is
/// the target's width in bits. A floating-point number converts to an integer by truncation, limited to the target's
/// range.
template <typename To>
To expectedConversion(ReferenceValue const& from) {
    if constexpr (std::is_same_v<To, std::string>) {
        return expectedText(from);
    } else {
        return visitNumber(from, To{}, []<typename From>(From number) {
            if constexpr (std::is_floating_point_v<From> && std::is_integral_v<To> && !std::is_same_v<To, bool>) {
                using Limits = std::numeric_limits<To>;  // A long double represents the limits exactly.
                auto const limited = std::clamp<long double>(number, Limits::min(), Limits::max());
                return std::isnan(number) ? To{} : static_cast<To>(limited);
            } else {
                return static_cast<To>(number);
            }
        });
    }
}

inline bool areEqual(ReferenceValue const& left, ReferenceValue const& right) {
    switch (left.tag) {
        case VALUE_NULL:
        case VALUE_UNDEFINED:
            return right.tag == left.tag;
        case VALUE_STRING:
            return right.tag == VALUE_STRING && left.text == right.text;
        case VALUE_VECTOR:
            return right.tag == VALUE_VECTOR && std::ranges::equal(left.elements, right.elements, areEqual);
        default:
            return visitNumber(left, false, [&]<typename Number>(Number number) {
                return number == expectedConversion<Number>(right);
            });
    }
}

/// The result of a move construction: the tag, and the member that the tag names.
inline ReferenceValue expectedAfterMoveConstruction(ReferenceValue& from) {
    ReferenceValue made;
    made.tag = from.tag;
    visitNumber(from, 0,
                [&](auto number) { return std::memcpy(&made.scalarBits, &from.scalarBits, sizeof number), 0; });
    made.text = from.tag == VALUE_STRING ? std::exchange(from.text, {}) : "";
    from.tag == VALUE_VECTOR ? std::swap(made.elements, from.elements) : void();
    return made;
}

/// The result of a copy assignment: all members. An element keeps only its tag and the member that the tag names.
inline ReferenceValue expectedAfterCopyAssignment(ReferenceValue const& from) {
    ReferenceValue copy{from.tag, from.scalarBits, from.text, {}};
    for (ReferenceValue const& element : from.elements) {
        ReferenceValue all = expectedAfterCopyAssignment(element);
        copy.elements.push_back(expectedAfterMoveConstruction(all));
    }
    return copy;
}

inline bool isSame(ValueObject const& value, ReferenceValue const& model) {
    return value.type() == model.tag && value.typeTag == model.tag && value.scalar.uint64Value == model.scalarBits &&
           value.stringValue == model.text && std::ranges::equal(value.elements, model.elements, isSame);
}

inline bool containsElement(ReferenceValue const& outer, ReferenceValue const& inner) {
    return std::ranges::any_of(outer.elements, [&](ReferenceValue const& element) {
        return &element == &inner || containsElement(element, inner);
    });
}

inline std::size_t approximateSize(ReferenceValue const& model) {
    std::size_t size = 1 + model.text.size();
    for (ReferenceValue const& element : model.elements) {
        size += approximateSize(element);
    }
    return size;
}

}  // namespace fuzz
