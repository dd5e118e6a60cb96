// Construction, conversion and comparison of values, changes of a list, and a value class of your own.

#undef NDEBUG
#include <cassert>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

namespace {

using namespace orvane::system::support;
using Strings = std::vector<std::string>;

/// Returns the type and the text of a value.
std::string shown(ValueObject const& value) { return std::to_string(value.type()) + " " + value.convertToStringType(); }

/// Makes a list. A list has the tag `VALUE_VECTOR` and elements of any type.
ValueObject listOf(std::vector<ValueObject> const& elements) {
    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    list.elements = elements;
    return list;
}

void aValueIsMadeFromWhatItHolds() {
    char buffer[] = "buffer";
    std::string const text = "text";
    char const* const none = nullptr;
    ValueObject const all =
        listOf({5, 5U, 5LL, 5ULL, true, 2.5F, -2.5, "literal", text, std::string("x"), buffer, none, {}, listOf({})});
    std::string types;
    for (ValueObject const& element : all.elements) {
        types += shown(element) + ";";
    }
    assert(types == "1 5;2 5;3 5;4 5;5 TRUE;6 2.5;7 -2.5;8 literal;8 text;8 x;8 buffer;8 ;255 Undefined;9 [];");
    assert((shown(5) + shown("a") + shown(text) == "1 58 a8 text"));  // An argument converts to a value.

    ValueObject value = 5;
    value = "again";  // An assignment also changes the value's type.
    std::string const again = value;
    assert((again == "again" && value == ValueObject("again")));
    value = none;
    assert(shown(value) == "8 ");
    value = buffer;
    IValueObject& interface = value;  // A handler receives an `IValueObject const&`.
    interface = interface.convertToStringType() + std::string(value);
    assert(shown(value) == "8 bufferbuffer");
}

void aValueBecomesWhatIsAskedFor() {
    ValueObject const negative = -2.9;
    int const whole = negative;             // A conversion to an integer drops the fraction.
    unsigned int const limited = negative;  // A number out of range becomes the range's limit.
    bool const isTrue = negative;
    Strings const entry = negative;
    std::vector<int> const number = ValueObject("2");
    assert((whole == -2 && limited == 0 && isTrue && entry == Strings{"-2.9"} && number == std::vector<int>{0}));
    int const notParsed = ValueObject("5");
    assert(notParsed == 0);

    ValueObject const mixed = listOf({1, "a", listOf({true}), -2.5});
    std::vector<int> const numbers = mixed;  // Converts each element.
    std::vector<unsigned int> const sizes = mixed;
    Strings const texts = mixed;
    std::string const all = mixed;  // This text cannot be parsed back.
    assert((numbers == std::vector<int>{1, 0, 0, -2} && texts == Strings{"1", "a", "[TRUE]", "-2.5"}));
    assert((all == "[1,a,[TRUE],-2.5]" && sizes == std::vector<unsigned int>{1, 0, 0, 0}));
}

void aListIsChangedThroughItsElements() {
    ValueObject list = listOf({});
    list.elements.push_back(1);      // NOLINT(modernize-use-emplace): shows that the argument is converted.
    list.elements.push_back("two");  // NOLINT(modernize-use-emplace)
    list.elements.insert(list.elements.begin(), {ValueObject{0}, ValueObject{"0"}});
    list.elements.emplace_back(listOf({"inside"}));
    Strings const strings = list;
    assert((strings == Strings{"0", "0", "1", "two", "[inside]"}));
    ValueObject const& itself = list;
    list = itself;
    list = list.elements.back();  // Copies an element of the list to the list itself.
    assert(shown(list) == "9 [inside]");
    list = std::move(list.elements[0]);  // Moves an element of the list to the list itself.
    assert(shown(list) == "8 inside");
}

void whatIsEqualIsForTheLeftOneToSay() {
    ValueObject const one = 1;
    assert((one == ValueObject(1.9) && !(ValueObject(1.9) == one)));  // 1.9 converts to the integer 1.
    assert((ValueObject(0) == ValueObject("text") && !(ValueObject("text") == ValueObject(0))));
    assert((listOf({1, "a"}) == listOf({1.9, "a"}) && !(listOf({1}) == listOf({1, 1}))));
}

/// A value class of your own, which converts to another text.
struct NamedValue : ValueObject {
    using ValueObject::ValueObject, ValueObject::operator=;
    std::string convertToStringType() const override { return "named " + ValueObject::convertToStringType(); }
};

void aValueMayBeOfAClassOfOnesOwn() {
    std::unique_ptr<IValueObject> const named = std::make_unique<NamedValue>("x");
    *named = 7;  // An assignment through the interface changes the held value.
    assert((static_cast<std::string>(*named) == "named 7" && static_cast<int>(*named) == 7));
}

}  // namespace

int main() {
    aValueIsMadeFromWhatItHolds();
    aValueBecomesWhatIsAskedFor();
    aListIsChangedThroughItsElements();
    whatIsEqualIsForTheLeftOneToSay();
    aValueMayBeOfAClassOfOnesOwn();
}
