// What C++ lets a program do with the library's classes: derive from each, put a fake in a proxy's place, call and
// delete through any base, and write values as one writes them.

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/television.h"

namespace {

using namespace orvane;
using namespace orvane::system::support;
using Strings = std::vector<std::string>;
using StringAccess = NRXModelAccess::StringAccess;
using StringListAccess = NRXModelAccess::StringListAccess;

int failures = 0;
Strings heard;
int destroyed = 0;

void expect(bool holds, int line) {
    if (!holds) {
        std::fprintf(stderr, "extend.cpp:%d: does not hold\n", line);
        ++failures;
    }
}
#define EXPECT(condition) expect(condition, __LINE__)

Strings takeHeard() {
    Strings taken;
    taken.swap(heard);
    return taken;
}

/// Notes its destruction, whichever base it was deleted through.
template <typename Base>
struct Noted : Base {
    using Base::Base;
    Noted() = default;
    Noted(Noted const& other) : Base(other) {}
    ~Noted() override { ++destroyed; }
};

// Fakes in the places of the facade's access objects: no television is asked.

struct FakeList : StringListAccess {
    using StringListAccess::getValue;
    using StringListAccess::setValue;
    using StringListAccess::StringListAccess;
    int connect(int /*timeoutMs*/) override { return status; }
    int disconnect() override { return 0; }
    int getValue(Strings& out) override { return out = list, status; }
    int setValue(Strings const& value) override { return list = value, status; }

    int status = 0;
    Strings list;
};

struct FakeString : StringAccess {
    using StringAccess::getValue;
    explicit FakeString(std::string value) : text(std::move(value)) {}
    int getValue(std::string& out) override { return out = text, 0; }

    std::string text;
};

struct Client : NRXModelAccessClient {
    void onNRXCommandReceived(Strings const& parameters) override { heard.push_back("command " + parameters.at(0)); }
    void onNRXEventReceived(Strings const& parameters) override { heard.push_back("event " + parameters.at(0)); }
};

/// Has a relay of its own for commands.
struct Facade : NRXModelAccess {
    using NRXModelAccess::NRXModelAccess;
    void onNRXCommandValueChanged(IValueObject const& value) override {
        heard.push_back("relay " + value.convertToStringType());
        NRXModelAccess::onNRXCommandValueChanged(value);
    }
    void requestStartNRXService() override { heard.push_back("request"); }
    bool listens() const { return commandListenerStarted; }
};

void fakesTakeTheProxiesPlaces() {
    auto const command = std::make_shared<FakeList>();
    auto const event = std::make_shared<FakeList>();
    Client client;
    Noted<Facade> facade(&client, command, event, std::make_shared<FakeString>("1.0"),
                         std::make_shared<FakeString>("feature"), std::make_shared<FakeString>("model"));
    INrxModelAccess& access = facade;
    access.start();
    access.setAccessValue("torvi.sl2.vstr.videoplayer.nrx.event", {"written"});
    EXPECT(event->list == Strings{"written"} && command->list.empty());
    command->list = {"given"};
    Strings values;
    access.getAccessValue("torvi.sl2.vstr.videoplayer.nrx.command", values);
    EXPECT(values == Strings{"given"});
    EXPECT(access.getSoftwareVersion() + access.getFeatureCode() + access.getModelname() == "1.0featuremodel");
    access.startCommandListener();
    EXPECT(facade.listens());
    command->setNewValueHandler(make_value_handler<NRXModelAccess>(&facade, &NRXModelAccess::onNRXCommandValueChanged));
    objbus::ObserverVectorString& observer = *command;
    observer.notifyStringVector({"changed"});
    access.requestStartNRXService();
    EXPECT(takeHeard() == (Strings{"relay [changed]", "command changed", "request"}));
    command->setNewValueHandler(nullptr);
}

// Access objects with reactions of their own.

template <typename Obs>
struct Reacting : ValueAccessT<Obs> {
    using ValueAccessT<Obs>::ValueAccessT;
    int connect(int timeoutMs) override { return heard.push_back("connect"), ValueAccessT<Obs>::connect(timeoutMs); }
    void onNewValue(ValueObject const& value) override {
        heard.push_back(value);
        ValueAccessT<Obs>::onNewValue(value);
    }
    bool isConnected() const { return this->object != nullptr; }
};

struct Handler : ValueHandler, ActionHandler, IteratorHandler {
    void handleNewValue(IValueObject const& value) override { heard.push_back("handled " + std::string(value)); }
    void handleResult(unsigned int /*actionId*/, ValueObject const& results) override { heard.push_back(results); }
    void handleExecutionError(unsigned int /*actionId*/, int error) override { heard.push_back(ValueObject(error)); }
    void handleCommit(int status) override { heard.push_back("commit " + std::to_string(status)); }
    void handleTotalCount(int /*count*/) override {}
    void handleSeekToRow(int /*row*/) override {}
    void handleSeekToContent(int /*row*/) override {}
    void handleCursorPosition(int /*row*/) override {}
    void handleReadRow(Strings const& row) override { heard.push_back("row " + row.at(0)); }
    void handleReadRowChunk(std::vector<Strings const*> const& rows) override { handleReadRow(*rows.at(0)); }
    void handleIteratorReady(int /*status*/) override {}
    void handleUpdate(int update) override { heard.push_back("update " + std::to_string(update)); }
};

struct Action : ActionAccess {
    using ActionAccess::ActionAccess;
    void notifyExecutionError(unsigned int actionId, int error) override {
        heard.push_back("failed");
        ActionAccess::notifyExecutionError(actionId, error);
    }
};

struct Table : TableAccess {
    using TableAccess::TableAccess;
    void notifyUpdate(int update) override {
        heard.push_back("table " + std::to_string(update));
        TableAccess::notifyUpdate(update);
    }
};

struct Iterator : IteratorAccess {
    using IteratorAccess::IteratorAccess;
    int destroy() override { return heard.push_back("destroy"), IteratorAccess::destroy(); }
};

/// Makes, uses through `Obs` and deletes an access through each base.
template <typename Obs, typename Parameter>
void expectNotified(simulator::Television& television, simulator::Value const& value, void (Obs::*notify)(Parameter),
                    std::remove_reference_t<Parameter> const& changed, std::string const& text) {
    television.publish("key", value);
    auto* const first = new Noted<Reacting<Obs>>("key", std::make_shared<Handler>());
    EXPECT(first->tryConnectIfNeeded() == 0 && first->isConnected() && first->getRootInterface() != nullptr);
    (static_cast<Obs*>(first)->*notify)(changed);
    ValueAccessT<Obs> plain("key", std::make_shared<Handler>());
    (static_cast<Obs&>(plain).*notify)(changed);
    EXPECT(takeHeard() == (Strings{"connect", text, "handled " + text, "handled " + text}));
    auto* const second = new Noted<Reacting<Obs>>(*first);
    EXPECT(second->getName().empty() && !second->isConnected());
    destroyed = 0;
    delete static_cast<ValueAccessBase*>(first);
    delete static_cast<objbus::Observer*>(static_cast<Obs*>(second));
    delete static_cast<ValueAccessBase*>(new ValueAccessT<Obs>);
    delete static_cast<Obs*>(new ValueAccessT<Obs>("key"));
    EXPECT(destroyed == 2);
}

template <typename Access>
void deleteThroughEachBase(Access* first, Access* second) {
    destroyed = 0;
    delete static_cast<ValueAccessBase*>(first);
    delete static_cast<objbus::Observer*>(second);
    EXPECT(destroyed == 2);
}

void everyAccessMayReact() {
    using namespace objbus;
    simulator::Television television;
    expectNotified<ObserverNumericInteger, int>(television, 1, &ObserverNumericInteger::notifyNewValue, 2, "2");
    expectNotified<ObserverNumericInt64, long long>(television, 1LL, &ObserverNumericInt64::notifyNewValue, 3, "3");
    expectNotified<ObserverString, std::string const&>(television, std::string(), &ObserverString::notifyNewValue,
                                                       "text", "text");
    expectNotified<ObserverVectorNumericInteger, std::vector<int> const&>(
        television, std::vector<int>(), &ObserverVectorNumericInteger::notifyIntegerVector, {4, 5}, "[4,5]");
    expectNotified<ObserverVectorString, Strings const&>(
        television, Strings(), &ObserverVectorString::notifyStringVector, {"a", "b"}, "[a,b]");

    auto const handler = std::make_shared<Handler>();
    auto* const action = new Noted<Action>("key", handler);
    ActionAccess plainAction("key", handler);
    for (ObserverAction* const observer :
         {static_cast<ObserverAction*>(action), static_cast<ObserverAction*>(&plainAction)}) {
        observer->notifyResult(1, {});
        observer->notifyExecutionError(1, -7);
    }
    EXPECT(takeHeard() == (Strings{"[]", "failed", "-7", "[]", "-7"}));
    deleteThroughEachBase(action, new Noted<Action>("key"));

    auto* const table = new Noted<Table>("key");
    ObserverTable& tableObserver = *table;
    tableObserver.notifyUpdate(1);
    TableAccess plainTable("key");
    static_cast<ObserverTable&>(plainTable).notifyUpdate(1);
    EXPECT(takeHeard() == Strings{"table 1"});
    deleteThroughEachBase(table, new Noted<Table>("key", std::make_shared<TableHandler>()));

    television.publishTable("table", {{"x"}});
    auto* const iterator = new Noted<Iterator>("table", nullptr, IteratorType{}, std::vector<TableSelection>(),
                                               std::vector<int>(), std::vector<TableOrder>());
    EXPECT(iterator->create() == 0 && iterator->destroy() == 0);
    television.waitUntilDelivered();
    iterator->setActionResultHandler(handler);
    Strings const row{"x"};
    ObserverTableIterator& iteratorObserver = *iterator;
    iteratorObserver.notifyCommit(0);
    iteratorObserver.notifyReadRow(row);
    iteratorObserver.notifyReadRowChunk({&row});
    iteratorObserver.notifyUpdate(5);
    EXPECT(takeHeard() == (Strings{"destroy", "commit 0", "row x", "row x", "update 5"}));
    deleteThroughEachBase(iterator, new Noted<Iterator>("table", nullptr, IteratorType{}, std::vector<TableSelection>(),
                                                        std::vector<int>(), std::vector<TableOrder>()));
    destroyed = 0;
    delete static_cast<INrxModelAccess*>(new Noted<Facade>);
    EXPECT(destroyed == 1);
}

// Values.

struct NamedValue : ValueObject {
    using ValueObject::ValueObject;
    using ValueObject::operator=;
    NamedValue(NamedValue const&) = default;
    ~NamedValue() override { ++destroyed; }
    std::string convertToStringType() const override { return "named " + ValueObject::convertToStringType(); }
};

std::string shown(ValueObject const& value) { return std::to_string(value.type()) + " " + value.convertToStringType(); }

enum Level { HIGH = 3 };
struct Class {
    int member;
    void function();
};

// Only text may be a pointer.
template <typename Refused>
constexpr bool REFUSED =
    !std::is_constructible_v<ValueObject, Refused> && !std::is_convertible_v<Refused, ValueObject> &&
    !std::is_assignable_v<ValueObject&, Refused> && !std::is_assignable_v<IValueObject&, Refused>;
static_assert(REFUSED<int*> && REFUSED<void const*> && REFUSED<void (*)()> && REFUSED<void(int)> && REFUSED<int[2]>);
static_assert(REFUSED<int Class::*> && REFUSED<void (Class::*)()> && REFUSED<char volatile*> &&
              REFUSED<wchar_t const*>);
static_assert(REFUSED<std::nullptr_t> && REFUSED<unsigned char const*>);
static_assert(std::is_convertible_v<char*, ValueObject> && std::is_assignable_v<ValueObject&, char*>);
static_assert(!std::is_assignable_v<IValueObject&, char const*> &&
              !std::is_assignable_v<IValueObject&, char const (&)[3]>);
static_assert(std::is_assignable_v<IValueObject&, std::string> && std::is_assignable_v<IValueObject&, int>);

void valuesAreWrittenAsOneWritesThem() {
    char buffer[] = "buffer";
    std::string const text = "text";
    char const* const none = nullptr;
    std::vector<std::pair<ValueObject, std::string>> const rows{
        {5, "1 5"},
        {5U, "2 5"},
        {5LL, "3 5"},
        {5ULL, "4 5"},
        {true, "5 TRUE"},
        {2.5F, "6 2.5"},
        {2.5, "7 2.5"},
        {"literal", "8 literal"},
        {text, "8 text"},
        {std::string("x"), "8 x"},
        {buffer, "8 buffer"},
        {none, "8 "},
        {HIGH, "1 3"},
        {'a', "1 97"},
        {{}, "255 Undefined"},
    };
    for (auto const& [value, expected] : rows) {
        EXPECT(shown(value) == expected);
    }
    EXPECT(shown(5) + shown("a") + shown(text) + shown({}) == "1 58 a8 text255 Undefined");

    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    list.elements = {1, "two", 3.5, true, text, list};
    list.elements.push_back(5);
    list.elements.push_back("six");
    list.elements.emplace_back(text);
    list.elements.insert(list.elements.begin(), {ValueObject{0}, ValueObject{"0"}});
    EXPECT(shown(list) == "9 [0,0,1,two,3.5,TRUE,text,[],5,six,text]");
    Strings const strings = list;
    EXPECT(strings.size() == 11 && strings[3] == "two");

    ValueObject value = 5;
    value = "again";
    std::string const copiedText = value;
    auto const copy = value;
    EXPECT(copiedText == "again" && copy == ValueObject("again") && copy == value);
    value = none;
    EXPECT(shown(value) == "8 ");
    value = buffer;
    IValueObject& interface = value;
    interface = std::string("through the interface");
    EXPECT(static_cast<std::string>(interface) == "through the interface");
    std::map<std::string, ValueObject> named{{"a", 1}, {"b", "two"}};
    named["c"] = 2.5;
    EXPECT(shown(named["b"]) + shown(named["c"]) == "8 two7 2.5");

    auto derived = std::make_unique<NamedValue>("x");
    *derived = 7;
    IValueObject const& base = *derived;
    EXPECT(base.convertToStringType() == "named 7" && int(base) == 7);
    destroyed = 0;
    std::unique_ptr<IValueObject>(std::move(derived)).reset();
    EXPECT(destroyed == 1);
}

}  // namespace

int main() {
    fakesTakeTheProxiesPlaces();
    everyAccessMayReact();
    valuesAreWrittenAsOneWritesThem();
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
