// A program can derive from each of the library's classes, and can call and delete objects through any base. A value
// object cannot be made from a pointer, except from a pointer to text.

#undef NDEBUG
#include <cassert>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"

namespace {

using namespace objbus;
using namespace orvane;
using namespace orvane::system::support;
using Integers = std::vector<int>;
using Strings = std::vector<std::string>;

Strings heard;

bool hears(Strings const& expected) { return std::exchange(heard, {}) == expected; }

/// Records "gone" when the object is destroyed, also when a program deletes the object through a base class.
template <typename Base>
struct Noted : Base {
    using Base::Base;
    ~Noted() override { heard.push_back("gone"); }
};

void facadesAndValuesGoThroughTheirInterfaces() {
    std::unique_ptr<INrxModelAccess>(new Noted<NRXModelAccess>).reset();
    std::unique_ptr<IValueObject>(new Noted<ValueObject>("x")).reset();
    assert((hears({"gone", "gone"})));
}

/// Records "reaction" for each value, before the handler receives the value.
template <typename Obs>
struct Reacting : ValueAccessT<Obs> {
    using ValueAccessT<Obs>::ValueAccessT;
    void onNewValue(ValueObject const& value) override {
        heard.push_back("reaction");
        ValueAccessT<Obs>::onNewValue(value);
    }
};

struct Handler : ValueHandler, ActionHandler {
    void handleNewValue(IValueObject const& value) override { heard.push_back(value); }
    void handleResult(unsigned int /*actionId*/, ValueObject const& results) override { heard.push_back(results); }
    void handleExecutionError(unsigned int /*actionId*/, int error) override { heard.push_back(ValueObject(error)); }
};

/// Runs `call` with an `Own` and a `Derived`, each as an `Obs`. Deletes objects of both classes through several bases.
template <typename Own, typename Derived, typename Obs, typename Call, typename... Arguments>
void throughEachBase(Call const& call, Strings const& expected, Arguments const&... arguments) {
    Own own(arguments...);
    call(static_cast<Obs&>(own));
    auto* const first = new Noted<Derived>(arguments...);
    call(static_cast<Obs&>(*first));
    delete static_cast<ValueAccessBase*>(first);
    delete static_cast<Observer*>(new Noted<Derived>(arguments...));
    delete static_cast<Obs*>(new Own(arguments...));
    delete static_cast<ValueAccessBase*>(new Own(arguments...));
    assert((hears(expected)));
}

template <typename Obs, typename Parameter>
void valueThroughEachBase(void (Obs::*notify)(Parameter), std::decay_t<Parameter> const& value,
                          std::string const& text) {
    throughEachBase<ValueAccessT<Obs>, Reacting<Obs>, Obs>([&](Obs& observer) { (observer.*notify)(value); },
                                                           {text, "reaction", text, "gone", "gone"}, "key",
                                                           std::make_shared<Handler>());
    Reacting<Obs> const access("key");
    Reacting<Obs>(access).onNewValue(text);
    assert((hears({"reaction"})));
}

void everyAccessMayReact() {
    valueThroughEachBase(&ObserverNumericInteger::notifyNewValue, 2, "2");
    valueThroughEachBase(&ObserverNumericInt64::notifyNewValue, 3, "3");
    valueThroughEachBase(&ObserverString::notifyNewValue, "text", "text");
    valueThroughEachBase(&ObserverVectorNumericInteger::notifyIntegerVector, Integers{4, 5}, "[4,5]");
    valueThroughEachBase(&ObserverVectorString::notifyStringVector, Strings{"a", "b"}, "[a,b]");
    throughEachBase<ActionAccess, ActionAccess, ObserverAction>(
        [](ObserverAction& observer) { observer.notifyExecutionError(1, -7); }, {"-7", "-7", "gone", "gone"}, "key",
        std::make_shared<Handler>());
    throughEachBase<TableAccess, TableAccess, ObserverTable>([](ObserverTable& observer) { observer.notifyUpdate(1); },
                                                             {"gone", "gone"}, "key");
    throughEachBase<IteratorAccess, IteratorAccess, ObserverTableIterator>(
        [](ObserverTableIterator& observer) {
            observer.notifyCommit(0);
            observer.notifyUpdate(5);
        },
        {"gone", "gone"}, "key", nullptr, IteratorType{}, std::vector<TableSelection>(), Integers(),
        std::vector<TableOrder>());
}

// A `ValueObject` accepts a pointer only if the pointer points to text. An `IValueObject` accepts no pointer.
template <typename T>
constexpr bool REFUSED = !std::is_constructible_v<ValueObject, T> && !std::is_convertible_v<T, ValueObject> &&
                         !std::is_assignable_v<ValueObject&, T> && !std::is_assignable_v<IValueObject&, T>;
static_assert(REFUSED<int*> && REFUSED<void const*> && REFUSED<void (*)()> && REFUSED<void(int)> && REFUSED<int[2]>);
static_assert(REFUSED<int ActionAccess::*> && REFUSED<void (ActionAccess::*)()> && REFUSED<char volatile*> &&
              REFUSED<std::nullptr_t>);
static_assert(!std::is_assignable_v<IValueObject&, char const (&)[3]> && !std::is_assignable_v<IValueObject&, char*>);

// An assignment refuses an `int*` and a `nullptr` within braces, too.
template <typename Value, typename T, typename = void>
constexpr bool TAKES_BRACED = false;
template <typename Value, typename T>
constexpr bool TAKES_BRACED<Value, T, std::void_t<decltype(std::declval<Value&>() = {std::declval<T>()})>> = true;
static_assert(TAKES_BRACED<ValueObject, int> && TAKES_BRACED<IValueObject, std::string>);
static_assert(!TAKES_BRACED<ValueObject, int*> && !TAKES_BRACED<IValueObject, int*>);
static_assert(!TAKES_BRACED<ValueObject, std::nullptr_t> && !TAKES_BRACED<IValueObject, std::nullptr_t>);

}  // namespace

int main() {
    facadesAndValuesGoThroughTheirInterfaces();
    everyAccessMayReact();
}
