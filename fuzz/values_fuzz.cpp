// Runs random steps on a few value objects, and the same steps on the reference model.

#include <locale>
#include <span>

#include "fuzz/values_model.h"

namespace fuzz {
namespace {

/// A locale that the embedding process may set. The locale must not change the texts of values.
struct GroupedDigits : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

/// A value object and its model. The value object may be an element of another value object at any depth.
struct Target {
    ValueObject* value;
    ReferenceValue* model;
};

class Program {
public:
    Program(std::uint8_t const* data, std::size_t size) : bytes_(data, size) {}

    void run() {
        constexpr void (Program::*STEPS[])(Target, Target) = {
            &Program::store,  &Program::storeText, &Program::setMember, &Program::construct,
            &Program::assign, &Program::append,    &Program::erase};
        // No step starts when the values have this total size or more, because a step may double the size.
        constexpr std::size_t ENOUGH = 500;
        for (std::size_t size = 0; bytes_.isLeft() && size < ENOUGH;) {
            auto const step = bytes_.pick(STEPS);
            Target const at = target();
            (this->*step)(at, target());
            size = 0;
            for (std::size_t i = 0; i < values_.size(); ++i) {
                expect(isSame(values_[i], models_[i]), "the members are as the rules say");
                size += approximateSize(models_[i]);
            }
            checkConversions(at);
            Target const other = target();
            compare(at, other);
            compare(other, at);
        }
    }

private:
    Target target() {
        std::size_t index = bytes_.indexBelow(values_.size());
        Target at{&values_[index], &models_[index]};
        while (!at.model->elements.empty() && bytes_.nextBool()) {
            index = bytes_.indexBelow(at.model->elements.size());
            at = {&at.value->elements[index], &at.model->elements[index]};
        }
        return at;
    }

    std::string text() {
        constexpr std::size_t LONG = 300;
        return bytes_.nextBool() ? bytes_.text(LONG) : std::string(bytes_.number<std::size_t>(0, LONG), 'x');
    }

    /// Returns random bits, the number that `other` converts to, or a floating-point number near a power of two.
    template <typename Number>
    Number number(Target other) {
        if constexpr (std::is_same_v<Number, bool>) {
            return bytes_.nextBool();
        } else if (Number any{}; bytes_.nextBool()) {
            bytes_.ConsumeData(&any, sizeof any);
            return any;
        } else if (std::is_integral_v<Number> || bytes_.nextBool()) {
            return expectedConversion<Number>(*other.model);
        } else {
            Number const power = std::ldexp(Number{1}, bytes_.number(0, 64));
            Number const beside = power + static_cast<Number>(bytes_.number(-2, 2)) / 2;
            return bytes_.nextBool() ? beside : -beside;
        }
    }

    /// Stores a number or a text, by construction of a new value or by assignment to the current value.
    void store(Target at, Target other) {
        auto const tag = bytes_.number<std::int32_t>(VALUE_INT, VALUE_STRING);
        auto const storeContent = [&]<typename Content>(Content const& content) {
            if (bytes_.nextBool()) {
                *at.value = ValueObject(content);
                *at.model = ReferenceValue();
            } else {
                IValueObject& value = *at.value;
                expect(&(value = content) == at.value, "an assignment returns the object");
            }
            at.model->tag = tag;
            if constexpr (std::is_arithmetic_v<Content>) {
                std::memcpy(&at.model->scalarBits, &content, sizeof content);
            } else {
                at.model->text = content;
            }
            return true;
        };
        auto const storeNumber = [&]<typename T>(T /*zero*/) { return storeContent(number<T>(other)); };
        expect(tag == VALUE_STRING ? storeContent(text()) : visitNumber(ReferenceValue{tag}, false, storeNumber),
               "each tag has a type");
    }

    /// Assigns the text of `from` to `at`, as a `std::string` or as a `char const*`, which may be null.
    void storeText(Target at, Target from) {
        std::string content = from.model->text;
        if (bytes_.nextBool()) {
            *at.value = from.value->stringValue;
        } else {
            bool const isNull = !bytes_.nextBool();
            content.resize(isNull ? 0 : std::strlen(content.c_str()));
            *at.value = isNull ? nullptr : content.c_str();
        }
        at.model->tag = VALUE_STRING;
        at.model->text = content;
    }

    void setMember(Target at, Target other) {
        if (bytes_.nextBool()) {
            at.model->tag =
                bytes_.nextBool() ? bytes_.number<std::int32_t>(-1, VALUE_VECTOR + 1) : bytes_.number<std::int32_t>();
            at.value->typeTag = static_cast<ValueObjectType>(at.model->tag);
        } else if (bytes_.nextBool()) {
            at.value->scalar.uint64Value = at.model->scalarBits = number<unsigned long long>(other);
        } else {
            at.value->stringValue = at.model->text = text();
        }
    }

    /// Constructs a value from `from`. The caller stores the value as `at` or as an element of `at`. Does not move
    /// `from` if `from` is or contains `at`.
    std::pair<ValueObject, ReferenceValue> made(Target from, Target at) {
        if (bytes_.nextBool() || at.value == from.value || containsElement(*from.model, *at.model)) {
            ReferenceValue all = expectedAfterCopyAssignment(*from.model);
            return {*from.value, expectedAfterMoveConstruction(all)};
        }
        return {std::move(*from.value), expectedAfterMoveConstruction(*from.model)};
    }

    void construct(Target at, Target from) { std::tie(*at.value, *at.model) = made(from, at); }

    void assign(Target at, Target from) {
        ReferenceValue model = *from.model;  // An assignment of a value to itself changes nothing.
        bool const isItself = at.value == from.value;
        if (bytes_.nextBool()) {
            *at.model = isItself ? model : expectedAfterCopyAssignment(*from.model);
            expect(&(*at.value = *from.value) == at.value, "an assignment returns the object");
        } else if (!containsElement(*from.model, *at.model)) {
            from.model->text.clear();
            from.model->elements.clear();
            *at.model = std::move(model);
            expect(&(*at.value = std::move(*from.value)) == at.value, "an assignment returns the object");
        }
    }

    void append(Target at, Target from) {
        auto [value, model] = made(from, at);
        if (at.value->elements.size() == at.value->elements.capacity()) {
            for (ReferenceValue& element : at.model->elements) {  // A full vector moves its elements to grow.
                element = expectedAfterMoveConstruction(element);
            }
        }
        at.value->typeTag = VALUE_VECTOR;
        at.value->elements.push_back(std::move(value));
        at.model->tag = VALUE_VECTOR;
        at.model->elements.push_back(std::move(model));
    }

    void erase(Target at, Target /*other*/) {
        if (!at.model->elements.empty()) {
            auto const index = static_cast<std::ptrdiff_t>(bytes_.indexBelow(at.model->elements.size()));
            at.model->elements.erase(at.model->elements.begin() + index);
            at.value->elements.erase(at.value->elements.begin() + index);
        }
    }

    static void checkConversions(Target at) {
        IValueObject const& value = *at.value;
        auto const converts = [&]<typename Number>(Number /*zero*/) {
            auto const number = static_cast<Number>(value);
            auto const expected = expectedConversion<Number>(*at.model);
            return std::isnan(expected) ? std::isnan(number)
                                        : number == expected && std::signbit(number) == std::signbit(expected);
        };
        for (std::int32_t tag = VALUE_INT; tag <= VALUE_DOUBLE; ++tag) {
            expect(visitNumber(ReferenceValue{tag}, false, converts), "a value converts to a number");
        }
        std::string const text = value;
        expect(text == expectedText(*at.model) && text == value.convertToStringType(), "a value converts to its text");
        checkList<int>(at);
        checkList<unsigned int>(at);
        checkList<std::string>(at);
    }

    template <typename To>
    static void checkList(Target at) {
        IValueObject const& value = *at.value;
        std::vector<To> const list = value;
        bool const isList = at.model->tag == VALUE_VECTOR;
        std::span<ReferenceValue const> const entries(isList ? at.model->elements.data() : at.model,
                                                      isList ? at.model->elements.size() : 1);
        expect(std::ranges::equal(list, entries, {}, {}, expectedConversion<To>), "a value converts to a list");
        expect(list == at.value->convertToVectorT(To()), "the list conversion has another name");
    }

    static void compare(Target left, Target right) {
        bool const equal = areEqual(*left.model, *right.model);
        expect((*left.value == *right.value) == equal, "equal values are equal");
        expect((*left.value != *right.value) != equal, "other values are unequal");
    }

    Bytes bytes_;
    std::array<ValueObject, 3> values_;
    std::array<ReferenceValue, 3> models_;
};

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static std::locale const previous =
        std::locale::global(std::locale(std::locale::classic(), new fuzz::GroupedDigits));
    fuzz::Program(data, size).run();
    return 0;
}
