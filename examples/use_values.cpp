// Values: what they are made from and what they become, how a list is built, which are equal, and one of one's own.

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

/// The type and the text of a value, as one looks at it in a debugger.
std::string shown(ValueObject const& value) { return std::to_string(value.type()) + " " + value.convertToStringType(); }

/// A list has its tag, and its elements, which are values of any type.
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
    assert((shown(5) + shown("a") + shown(text) == "1 58 a8 text"));  // So is an argument.

    ValueObject value = 5;
    value = "again";  // It takes the type of what it is assigned, too.
    std::string const again = value;
    assert((again == "again" && value == ValueObject("again")));
    value = none;
    assert(shown(value) == "8 ");
    value = buffer;
    IValueObject& interface = value;  // What a handler gets.
    interface = interface.convertToStringType() + std::string(value);
    assert(shown(value) == "8 bufferbuffer");
}

void aValueBecomesWhatIsAskedFor() {
    ValueObject const negative = -2.9;
    int const whole = negative;             // Without its fraction.
    unsigned int const limited = negative;  // Within the type's range.
    bool const isTrue = negative;
    Strings const entry = negative;
    std::vector<int> const number = ValueObject("2");
    assert((whole == -2 && limited == 0 && isTrue && entry == Strings{"-2.9"} && number == std::vector<int>{0}));
    int const notParsed = ValueObject("5");
    assert(notParsed == 0);

    ValueObject const mixed = listOf({1, "a", listOf({true}), -2.5});
    std::vector<int> const numbers = mixed;  // Element by element.
    std::vector<unsigned int> const sizes = mixed;
    Strings const texts = mixed;
    std::string const all = mixed;  // Meant to be looked at, not to be read back.
    assert((numbers == std::vector<int>{1, 0, 0, -2} && texts == Strings{"1", "a", "[TRUE]", "-2.5"}));
    assert((all == "[1,a,[TRUE],-2.5]" && sizes == std::vector<unsigned int>{1, 0, 0, 0}));
}

void aListIsChangedThroughItsElements() {
    ValueObject list = listOf({});
    list.elements.push_back(1);      // NOLINT(modernize-use-emplace): as one writes it first.
    list.elements.push_back("two");  // NOLINT(modernize-use-emplace)
    list.elements.insert(list.elements.begin(), {ValueObject{0}, ValueObject{"0"}});
    list.elements.emplace_back(listOf({"inside"}));
    Strings const strings = list;
    assert((strings == Strings{"0", "0", "1", "two", "[inside]"}));
    ValueObject const& itself = list;
    list = itself;
    list = list.elements.back();  // An element may take the place of its list,
    assert(shown(list) == "9 [inside]");
    list = std::move(list.elements[0]);  // copied or moved.
    assert(shown(list) == "8 inside");
}

void whatIsEqualIsForTheLeftOneToSay() {
    ValueObject const one = 1;
    assert((one == ValueObject(1.9) && !(ValueObject(1.9) == one)));  // 1.9 becomes 1, as an integer.
    assert((ValueObject(0) == ValueObject("text") && !(ValueObject("text") == ValueObject(0))));
    assert((listOf({1, "a"}) == listOf({1.9, "a"}) && !(listOf({1}) == listOf({1, 1}))));
}

/// A value of one's own: it may read in another way.
struct NamedValue : ValueObject {
    using ValueObject::ValueObject, ValueObject::operator=;
    std::string convertToStringType() const override { return "named " + ValueObject::convertToStringType(); }
};

void aValueMayBeOfAClassOfOnesOwn() {
    std::unique_ptr<IValueObject> const named = std::make_unique<NamedValue>("x");
    *named = 7;  // What it is assigned through the interface, it holds.
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
