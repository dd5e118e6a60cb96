// A random program on a few value objects; each of its steps is done on plain models too, which know the same rules.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "fuzz/harness.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

namespace {

using namespace orvane::system::support;
using fuzz::expect;

/// The members of a value object.
struct Model {
    std::int32_t tag = VALUE_UNDEFINED;
    unsigned long long scalar = 0;  ///< The bytes of the union.
    std::string text;
    std::vector<Model> elements;
};

/// What `use` gives for a zero of the type that the tag names; `otherwise` where it names no scalar.
template <typename Result, typename Use>
Result withScalar(std::int32_t tag, Result otherwise, Use const& use) {
    std::tuple<int, unsigned int, long long, unsigned long long, bool, float, double> const inOrderOfTags;
    std::int32_t next = VALUE_INT;
    auto const tryNext = [&](auto zero) { otherwise = tag == next++ ? use(zero) : otherwise; };
    std::apply([&](auto... each) { (tryNext(each), ...); }, inOrderOfTags);
    return otherwise;
}

// A long double holds every number of the other types.
static_assert(std::numeric_limits<long double>::digits >= std::numeric_limits<unsigned long long>::digits);

long double numberOf(Model const& model) {
    return withScalar(model.tag, 0.0L, [&](auto number) -> long double {
        if constexpr (std::is_same_v<decltype(number), bool>) {
            return model.scalar % 256 == 0 ? 0 : 1;
        } else {
            std::memcpy(&number, &model.scalar, sizeof number);
            return static_cast<long double>(number);
        }
    });
}

bool isFloating(Model const& model) { return model.tag == VALUE_FLOAT || model.tag == VALUE_DOUBLE; }

std::string textOf(Model const& model) {
    std::string text;
    switch (model.tag) {
        case VALUE_NULL:
            return "null";
        case VALUE_UNDEFINED:
            return "Undefined";
        case VALUE_BOOL:
            return numberOf(model) != 0 ? "TRUE" : "FALSE";
        case VALUE_STRING:
            return model.text;
        case VALUE_VECTOR:
            for (Model const& element : model.elements) {
                text += (&element == model.elements.data() ? "" : ",") + textOf(element);
            }
            return "[" + text + "]";
        default:
            return withScalar(model.tag, text, [&](auto /*zero*/) {
                std::array<char, 32> digits{};
                std::snprintf(digits.data(), digits.size(), isFloating(model) ? "%Lg" : "%.0Lf", numberOf(model));
                return std::string(digits.data());
            });
    }
}

template <typename To>
To converted(Model const& from) {
    long double const number = numberOf(from);
    if constexpr (std::is_same_v<To, std::string>) {
        return textOf(from);
    } else if constexpr (std::is_same_v<To, bool>) {
        return number != 0;
    } else if constexpr (std::is_floating_point_v<To>) {
        return static_cast<To>(number);
    } else {
        auto const lowest = static_cast<long double>(std::numeric_limits<To>::min());
        auto const highest = static_cast<long double>(std::numeric_limits<To>::max());
        if (isFloating(from)) {
            return std::isnan(number) ? 0 : static_cast<To>(std::clamp(number, lowest, highest));
        }
        long double const count = highest - lowest + 1;
        long double const rest = std::fmod(number, count);
        return static_cast<To>(rest < lowest ? rest + count : rest > highest ? rest - count : rest);
    }
}

bool equal(Model const& left, Model const& right) {
    switch (left.tag) {
        case VALUE_NULL:
        case VALUE_UNDEFINED:
            return right.tag == left.tag;
        case VALUE_STRING:
            return right.tag == VALUE_STRING && left.text == right.text;
        case VALUE_VECTOR:
            return right.tag == VALUE_VECTOR && std::ranges::equal(left.elements, right.elements, equal);
        default:
            return withScalar(left.tag, false, [&](auto zero) {
                return converted<decltype(zero)>(left) == converted<decltype(zero)>(right);
            });
    }
}

/// What construction takes: the tag and the member that it names, which is moved.
Model moved(Model& from) {
    Model made;
    made.tag = from.tag;
    withScalar(from.tag, 0, [&](auto zero) { return std::memcpy(&made.scalar, &from.scalar, sizeof zero), 0; });
    if (from.tag == VALUE_STRING) {
        made.text = std::exchange(from.text, {});
    } else if (from.tag == VALUE_VECTOR) {
        made.elements = std::exchange(from.elements, {});
    }
    return made;
}

/// What assignment by a copy takes: all members, and of each element what construction takes.
Model copied(Model const& from) {
    Model copy{from.tag, from.scalar, from.text, {}};
    for (Model const& element : from.elements) {
        Model all = copied(element);
        copy.elements.push_back(moved(all));
    }
    return copy;
}

bool same(ValueObject const& value, Model const& model) {
    return value.type() == model.tag && value.typeTag == model.tag && value.scalar.uint64Value == model.scalar &&
           value.stringValue == model.text && std::ranges::equal(value.elements, model.elements, same);
}

bool liesIn(Model const& outer, Model const& inner) {
    return std::ranges::any_of(outer.elements,
                               [&](Model const& element) { return &element == &inner || liesIn(element, inner); });
}

std::size_t sizeOf(Model const& model) {
    std::size_t size = 1 + model.text.size();
    for (Model const& element : model.elements) {
        size += sizeOf(element);
    }
    return size;
}

/// A value object, which may be an element of another at any depth, and its model.
struct Place {
    ValueObject* value;
    Model* model;
};

class Program {
public:
    Program(std::uint8_t const* data, std::size_t size) : bytes(data, size) {}

    void run() {
        constexpr void (Program::*STEPS[])(Place, Place) = {
            &Program::store,  &Program::storeText, &Program::setMember, &Program::construct,
            &Program::assign, &Program::append,    &Program::erase};
        constexpr std::size_t ENOUGH = 500;  // One step may double it.
        for (std::size_t size = 0; bytes.remaining_bytes() > 0 && size < ENOUGH;) {
            auto const step = bytes.PickValueInArray(STEPS);
            Place const at = place();
            (this->*step)(at, place());
            size = 0;
            for (std::size_t i = 0; i < values.size(); ++i) {
                expect(same(values[i], models[i]), "the members that the rules leave");
                size += sizeOf(models[i]);
            }
            convert(at);
            Place const other = place();
            compare(at, other);
            compare(other, at);
        }
    }

private:
    Place place() {
        std::size_t index = bytes.ConsumeIntegralInRange<std::size_t>(0, values.size() - 1);
        Place at{&values[index], &models[index]};
        while (!at.model->elements.empty() && bytes.ConsumeBool()) {
            index = indexIn(at);
            at = {&at.value->elements[index], &at.model->elements[index]};
        }
        return at;
    }

    std::size_t indexIn(Place at) {
        return bytes.ConsumeIntegralInRange<std::size_t>(0, at.model->elements.size() - 1);
    }

    std::string text() {
        constexpr std::size_t LONG = 300;
        return bytes.ConsumeBool() ? bytes.ConsumeRandomLengthString(LONG)
                                   : std::string(bytes.ConsumeIntegralInRange<std::size_t>(0, LONG), 'x');
    }

    /// Any bits, what the other converts to, or a floating number beside a power of two.
    template <typename Number>
    Number number(Place other) {
        if constexpr (std::is_same_v<Number, bool>) {
            return bytes.ConsumeBool();
        } else if (Number any{}; bytes.ConsumeBool()) {
            bytes.ConsumeData(&any, sizeof any);
            return any;
        } else if (std::is_integral_v<Number> || bytes.ConsumeBool()) {
            return converted<Number>(*other.model);
        } else {
            Number const power = std::ldexp(Number{1}, bytes.ConsumeIntegralInRange(0, 64));
            Number const beside = power + static_cast<Number>(bytes.ConsumeIntegralInRange(-2, 2)) / 2;
            return bytes.ConsumeBool() ? beside : -beside;
        }
    }

    /// Content of any type, into a new value or into the one that is there.
    void store(Place at, Place other) {
        auto const tag = bytes.ConsumeIntegralInRange<std::int32_t>(VALUE_INT, VALUE_STRING);
        auto const storeContent = [&]<typename Content>(Content const& content) {
            if (bytes.ConsumeBool()) {
                *at.value = ValueObject(content);
                *at.model = Model();
            } else {
                IValueObject& value = *at.value;
                expect(&(value = content) == at.value, "an assignment gives the object");
            }
            at.model->tag = tag;
            if constexpr (std::is_arithmetic_v<Content>) {
                std::memcpy(&at.model->scalar, &content, sizeof content);
            } else {
                at.model->text = content;
            }
            return true;
        };
        auto const storeNumber = [&](auto zero) { return storeContent(number<decltype(zero)>(other)); };
        expect(tag == VALUE_STRING ? storeContent(text()) : withScalar(tag, false, storeNumber), "each tag has a type");
    }

    /// The string of any object, or a pointer, also to nothing.
    void storeText(Place at, Place from) {
        std::string content = from.model->text;
        if (bytes.ConsumeBool()) {
            *at.value = from.value->stringValue;
        } else if (bytes.ConsumeBool()) {
            *at.value = content.c_str();
            content.resize(std::strlen(content.c_str()));
        } else {
            *at.value = static_cast<char const*>(nullptr);
            content.clear();
        }
        at.model->tag = VALUE_STRING;
        at.model->text = content;
    }

    void setMember(Place at, Place other) {
        if (bytes.ConsumeBool()) {
            at.model->tag = bytes.ConsumeBool() ? bytes.ConsumeIntegralInRange<std::int32_t>(-1, VALUE_VECTOR + 1)
                                                : bytes.ConsumeIntegral<std::int32_t>();
            at.value->typeTag = static_cast<ValueObjectType>(at.model->tag);
        } else if (bytes.ConsumeBool()) {
            at.value->scalar.uint64Value = at.model->scalar = number<unsigned long long>(other);
        } else {
            at.value->stringValue = at.model->text = text();
        }
    }

    /// Made from `from` to be put at `at`; not by a move into what lies in `from` itself.
    std::pair<ValueObject, Model> made(Place from, Place at) {
        if (bytes.ConsumeBool() || at.value == from.value || liesIn(*from.model, *at.model)) {
            Model all = copied(*from.model);
            return {*from.value, moved(all)};
        }
        return {std::move(*from.value), moved(*from.model)};
    }

    void construct(Place at, Place from) { std::tie(*at.value, *at.model) = made(from, at); }

    void assign(Place at, Place from) {
        Model model = *from.model;  // What is assigned from itself stays as it is.
        bool const itself = at.value == from.value;
        if (bytes.ConsumeBool()) {
            *at.model = itself ? model : copied(*from.model);
            expect(&(*at.value = *from.value) == at.value, "an assignment gives the object");
        } else if (!liesIn(*from.model, *at.model)) {
            from.model->text.clear();
            from.model->elements.clear();
            *at.model = std::move(model);
            expect(&(*at.value = std::move(*from.value)) == at.value, "an assignment gives the object");
        }
    }

    void append(Place at, Place from) {
        auto [value, model] = made(from, at);
        if (at.value->elements.size() == at.value->elements.capacity()) {
            for (Model& element : at.model->elements) {  // It moves to where there is room.
                element = moved(element);
            }
        }
        at.value->typeTag = VALUE_VECTOR;
        at.value->elements.push_back(std::move(value));
        at.model->tag = VALUE_VECTOR;
        at.model->elements.push_back(std::move(model));
    }

    void erase(Place at, Place /*other*/) {
        if (!at.model->elements.empty()) {
            auto const index = static_cast<std::ptrdiff_t>(indexIn(at));
            at.model->elements.erase(at.model->elements.begin() + index);
            at.value->elements.erase(at.value->elements.begin() + index);
        }
    }

    static void convert(Place at) {
        IValueObject const& value = *at.value;
        auto const converts = [&](auto zero) {
            auto const number = static_cast<decltype(zero)>(value);
            auto const expected = converted<decltype(zero)>(*at.model);
            return std::isnan(expected) ? std::isnan(number)
                                        : number == expected && std::signbit(number) == std::signbit(expected);
        };
        for (std::int32_t tag = VALUE_INT; tag <= VALUE_DOUBLE; ++tag) {
            expect(withScalar(tag, false, converts), "the number that a value converts to");
        }
        std::string const text = value;
        expect(text == textOf(*at.model) && text == value.convertToStringType(), "the text of a value");
        expectList<int>(at);
        expectList<unsigned int>(at);
        expectList<std::string>(at);
    }

    template <typename To>
    static void expectList(Place at) {
        IValueObject const& value = *at.value;
        std::vector<To> const list = value;
        bool const isList = at.model->tag == VALUE_VECTOR;
        std::span<Model const> const entries(isList ? at.model->elements.data() : at.model,
                                             isList ? at.model->elements.size() : 1);
        expect(std::ranges::equal(list, entries, {}, {}, converted<To>), "the list that a value converts to");
        expect(list == at.value->convertToVectorT(To()), "the list by its other name");
    }

    static void compare(Place left, Place right) {
        bool const areEqual = equal(*left.model, *right.model);
        expect((*left.value == *right.value) == areEqual, "which values are equal");
        expect((*left.value != *right.value) != areEqual, "which values are not");
    }

    FuzzedDataProvider bytes;
    std::array<ValueObject, 3> values;
    std::array<Model, 3> models;
};

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Program(data, size).run();
    return 0;
}
