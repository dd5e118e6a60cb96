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
struct Model {
    std::int32_t tag = VALUE_UNDEFINED;
    unsigned long long scalar = 0;  ///< The bytes of the union.
    std::string text{};
    std::vector<Model> elements{};
};

/// Returns the result of `use` for the number in the tag's type, or `otherwise` if the tag names no number.
template <typename Result, typename Use>
Result withNumber(Model const& model, Result otherwise, Use const& use) {
    std::tuple<int, unsigned int, long long, unsigned long long, bool, float, double> numbers;  // In the tags' order.
    std::int32_t next = VALUE_INT;
    auto const useIfNext = [&]<typename Number>(Number& number) {
        if constexpr (std::is_same_v<Number, bool>) {
            number = model.scalar % 256 != 0;
        } else {
            std::memcpy(&number, &model.scalar, sizeof number);
        }
        bool const isNamed = model.tag == next++;
        otherwise = isNamed ? use(number) : otherwise;
        return isNamed;
    };
    std::apply([&](auto&... each) { return (useIfNext(each) || ...); }, numbers);
    return otherwise;
}

inline std::string textOf(Model const& model) {
    std::string text{};
    switch (model.tag) {
        case VALUE_NULL:
            return "null";
        case VALUE_UNDEFINED:
            return "Undefined";
        case VALUE_STRING:
            return model.text;
        case VALUE_VECTOR:
            for (Model const& element : model.elements) {
                text += (text.empty() ? "[" : ",") + textOf(element);
            }
            return (text.empty() ? "[" : text) + "]";
        default:
            return withNumber(model, text, []<typename Number>(Number number) -> std::string {
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

/// Integers convert modulo the target's width. Floating point converts by truncation, limited to the target's range.
template <typename To>
To converted(Model const& from) {
    if constexpr (std::is_same_v<To, std::string>) {
        return textOf(from);
    } else {
        return withNumber(from, To{}, []<typename From>(From number) {
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

inline bool areEqual(Model const& left, Model const& right) {
    switch (left.tag) {
        case VALUE_NULL:
        case VALUE_UNDEFINED:
            return right.tag == left.tag;
        case VALUE_STRING:
            return right.tag == VALUE_STRING && left.text == right.text;
        case VALUE_VECTOR:
            return right.tag == VALUE_VECTOR && std::ranges::equal(left.elements, right.elements, areEqual);
        default:
            return withNumber(left, false,
                              [&]<typename Number>(Number number) { return number == converted<Number>(right); });
    }
}

/// The result of a move construction: the tag, and the member that the tag names.
inline Model moved(Model& from) {
    Model made;
    made.tag = from.tag;
    withNumber(from, 0, [&](auto number) { return std::memcpy(&made.scalar, &from.scalar, sizeof number), 0; });
    made.text = from.tag == VALUE_STRING ? std::exchange(from.text, {}) : "";
    from.tag == VALUE_VECTOR ? std::swap(made.elements, from.elements) : void();
    return made;
}

/// The result of a copy assignment: all members. An element keeps only its tag and the member that the tag names.
inline Model copied(Model const& from) {
    Model copy{from.tag, from.scalar, from.text, {}};
    for (Model const& element : from.elements) {
        Model all = copied(element);
        copy.elements.push_back(moved(all));
    }
    return copy;
}

inline bool isSame(ValueObject const& value, Model const& model) {
    return value.type() == model.tag && value.typeTag == model.tag && value.scalar.uint64Value == model.scalar &&
           value.stringValue == model.text && std::ranges::equal(value.elements, model.elements, isSame);
}

inline bool liesIn(Model const& outer, Model const& inner) {
    return std::ranges::any_of(outer.elements,
                               [&](Model const& element) { return &element == &inner || liesIn(element, inner); });
}

inline std::size_t sizeOf(Model const& model) {
    std::size_t size = 1 + model.text.size();
    for (Model const& element : model.elements) {
        size += sizeOf(element);
    }
    return size;
}

}  // namespace fuzz
