// The virtual slots are a binary contract, with the television on one side and with the embedding process on the other.
// Each interface is called here by the numbers of its slots, as a caller compiled elsewhere does.

#include <array>
#include <bit>
#include <typeinfo>
#include <utility>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test {
namespace {

using namespace objbus;
using orvane::NRXModelAccessClient;
using Slots = std::vector<std::size_t>;
using Arguments = std::vector<Argument>;

/// Expects the virtual members, one after the other, from the slot on. The first word of a pointer to one is the offset
/// of its slot, on some processors plus one.
template <typename... Members>
void expectSlots(std::size_t first, Members... members) {
    for (auto const& words : {std::bit_cast<std::array<std::size_t, 2>>(members)...}) {
        EXPECT_EQ(words[0] / sizeof(void*), first++);
    }
}

/// Calls the operation in `slot` of the virtual table of `object`, a pointer to the class that declares it.
template <typename Result, typename... Parameters>
Result callSlot(void* object, std::size_t slot, Parameters... parameters) {
    using Operation = Result (*)(void*, Parameters...);
    void** const table = *static_cast<void***>(object);
    return reinterpret_cast<Operation>(table[slot])(object, std::forward<Parameters>(parameters)...);
}

/// An object of another compiler's making, whose operations note their slots.
template <typename Interface>
struct Foreign {
    Interface* get() { return reinterpret_cast<Interface*>(this); }

    template <std::size_t SLOT>
    static void note(Foreign* self) {
        self->called.push_back(SLOT);
    }
    template <std::size_t... SLOTS>
    static void const* const* tableOf(std::index_sequence<SLOTS...>) {
        static void const* const table[]{nullptr, &typeid(Interface), reinterpret_cast<void*>(&note<SLOTS>)...};
        return table + 2;
    }

    void const* const* table = tableOf(std::make_index_sequence<9>());
    Slots called;
};

TEST(Slots, TheTelevisionsObjects) {
    expectSlots(2, &Object::getType, &ObjectNumericInteger::setValue, &ObjectNumericInteger::getValue);
    expectSlots(3, &ObjectNumericInt64::setValue, &ObjectNumericInt64::getValue);
    expectSlots(3, &ObjectString::getValue, &ObjectString::setValue);
    expectSlots(4, &ObjectVectorNumericInteger::setValue, &ObjectVectorNumericInteger::getValue);
    expectSlots(4, &ObjectVectorString::setValue, &ObjectVectorString::getValue);
    expectSlots(3, &ObjectTable::createIterator, &ObjectTable::destroyIterator);
    expectSlots(5, &ObjectAction::invoke);
    expectSlots(5, &RootInterface::connectObject, &RootInterface::disconnectObject);
}

class SlotTest : public TelevisionTest {
public:
    /// What is traced first in the slots, of operations that take a list at the most or do not look at their argument.
    Strings traced(void* object, Slots const& slots) {
        Strings names;
        for (std::size_t const slot : slots) {
            logged();
            callSlot<void, Strings const&>(object, slot, {});
            std::string const line = logged().at(0);
            names.push_back(line.substr(0, line.find('(')).substr("DEBUG [TRACE -> "s.size()));
        }
        return names;
    }
};

TEST_F(SlotTest, TheFacadeAndItsClient) {
    ownLinesOnly = true;  // The lists written here are delivered meanwhile.
    std::string const event = "torvi.sl2.vstr.videoplayer.nrx.event";
    tv.publish(event, Strings{});
    tv.publish("torvi.sl2.str.orvfactory.production.type", "type");
    Foreign<NRXModelAccessClient> client;
    void* const facade = static_cast<orvane::INrxModelAccess*>(new orvane::NRXModelAccess);
    callSlot<void, NRXModelAccessClient*>(facade, 2, client.get());
    EXPECT_EQ(callSlot<std::string>(facade, 5), "type");
    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    for (std::size_t const relay : {0U, 1U}) {
        callSlot<void>(facade, 8 + 2 * relay);
        callSlot<void, IValueObject const&>(facade, 13 + relay, list);
        callSlot<void>(facade, 9 + 2 * relay);
        callSlot<void, IValueObject const&>(facade, 13 + relay, list);
    }
    EXPECT_EQ(client.called, (Slots{0, 1}));
    callSlot<void, std::string, Strings>(facade, 16, event, {"x"});
    Strings values;
    callSlot<void, std::string, Strings&>(facade, 15, event, values);
    EXPECT_EQ(values, Strings{"x"});
    EXPECT_EQ(traced(facade, {3, 12, 1}), (Strings{"start", "requestStartNRXService", "~NRXModelAccess"}));
}

TEST_F(SlotTest, TheValueObject) {
    void* const value = static_cast<IValueObject*>(new ValueObject);
    EXPECT_EQ((&callSlot<IValueObject&, std::string const&>(value, 10, "text")), value);
    EXPECT_EQ(callSlot<std::string>(value, 11) + callSlot<std::string>(value, 19), "texttext");
    callSlot<IValueObject&, long long>(value, 6, -2);
    EXPECT_EQ(callSlot<ValueObjectType>(value, 2), VALUE_INT64);
    EXPECT_EQ(callSlot<int>(value, 13), -2);
    EXPECT_EQ(callSlot<unsigned long long>(value, 16), 18446744073709551614ULL);
    EXPECT_EQ(callSlot<double>(value, 18), -2.0);
    EXPECT_EQ(callSlot<Strings>(value, 22), Strings{"-2"});
    callSlot<void>(value, 1);
}

/// What an instance delivers when its observer's operation and its own are called with `value`.
template <typename Obs, typename Parameter>
Lines notified(std::size_t ownSlot, Parameter value) {
    auto const handler = std::make_shared<RecordingHandler>();
    ValueAccessT<Obs> access(KEY);
    void* const base = static_cast<ValueAccessBase*>(&access);
    callSlot<int, std::shared_ptr<ValueHandler>>(base, 2, handler);
    callSlot<void, Parameter>(static_cast<Obs*>(&access), 3, value);
    callSlot<void, Parameter>(base, ownSlot, value);
    return handler->values;
}

TEST_F(SlotTest, TheValueAccessesAndTheirObservers) {
    tv.publish(KEY, Strings{"old"});
    void* const access = static_cast<ValueAccessBase*>(new ValueAccessT<ObserverVectorString>(KEY));
    EXPECT_EQ((callSlot<int, int>(access, 3, 0)), 0);
    EXPECT_EQ(callSlot<ObjectTypeSpec>(access, 5), OBJECT_TYPE_VECTOR_STRING);
    EXPECT_EQ(callSlot<std::string>(access, 6), KEY);
    Strings values;
    EXPECT_EQ((callSlot<int, Strings&>(access, 10, values)), 0);
    EXPECT_EQ((callSlot<int, Strings const&>(access, 15, {"new"})), 0);
    EXPECT_EQ(tv.get(KEY), Value(Strings{"new"}));
    EXPECT_EQ(callSlot<int>(access, 4), 0);
    callSlot<void>(access, 1);
    EXPECT_EQ(tv.counts(KEY).disconnects, 1);
    EXPECT_EQ((notified<ObserverNumericInteger, int>(18, 1)), (Lines{"1 1", "1 1"}));
    EXPECT_EQ((notified<ObserverNumericInt64, long long>(19, 2)), (Lines{"3 2", "3 2"}));
    EXPECT_EQ((notified<ObserverString, std::string const&>(20, "s")), (Lines{"8 s", "8 s"}));
    EXPECT_EQ((notified<ObserverVectorNumericInteger, Integers const&>(21, {3})), (Lines{"9 [3]", "9 [3]"}));
    EXPECT_EQ((notified<ObserverVectorString, Strings const&>(22, {"t"})), (Lines{"9 [t]", "9 [t]"}));
}

TEST_F(SlotTest, TheOtherAccessesAndTheirObservers) {
    Foreign<ActionHandler> actionHandler;
    ActionAccess action(KEY, {std::shared_ptr<void>(), actionHandler.get()});
    void* const actionBase = static_cast<ValueAccessBase*>(&action);
    unsigned int id = 5;
    EXPECT_EQ((callSlot<int, unsigned int&, Arguments const&>(actionBase, 19, id, {})), -1);
    callSlot<void, unsigned int, Arguments const&>(static_cast<ObserverAction*>(&action), 3, 1U, {});
    callSlot<void, unsigned int, int>(static_cast<ObserverAction*>(&action), 4, 1U, 2);
    callSlot<void, unsigned int, int>(actionBase, 20, 1U, 2);
    callSlot<void, unsigned int, Arguments const&>(actionBase, 21, 1U, {});
    EXPECT_EQ(actionHandler.called, (Slots{0, 1, 1, 0}));

    TableAccess table(KEY);
    EXPECT_EQ(traced(static_cast<ValueAccessBase*>(&table), {19}), Strings{"notifyUpdate"});
    EXPECT_EQ(traced(static_cast<ObserverTable*>(&table), {3}), Strings{"notifyUpdate"});

    Foreign<IteratorHandler> handler;
    IteratorAccess iterator(KEY, nullptr, {}, {}, {}, {});
    void* const base = static_cast<ValueAccessBase*>(&iterator);
    callSlot<int, std::shared_ptr<IteratorHandler>>(base, 20, {std::shared_ptr<void>(), handler.get()});
    Strings const names{"notifyCommit",        "notifyTotalCount",     "notifySeekToRow",
                        "notifySeekToContent", "notifyCursorPosition", "notifyReadRow",
                        "notifyReadRowChunk",  "notifyIteratorReady",  "notifyUpdate"};
    EXPECT_EQ(traced(base, {21, 22, 23, 24, 25, 26, 27, 28, 29}), names);
    EXPECT_EQ(traced(static_cast<ObserverTableIterator*>(&iterator), {3, 4, 5, 6, 7, 8, 9, 10, 11}), names);
    EXPECT_EQ(handler.called, (Slots{0, 1, 2, 3, 4, 5, 6, 7, 8, 0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

/// Expects the fields one after the other behind the first `size` bytes of the class, and nothing after them.
template <typename Class, typename... Classes, typename... Types>
void expectFields(std::size_t size, Types Classes::*... fields) {
    auto const aligned = [&size](std::size_t alignment) {
        return size = (size + alignment - 1) / alignment * alignment;
    };
    auto const expectNext = [&]<typename Owner, typename Type>(Type Owner::*field) {
        std::size_t const offset = std::bit_cast<std::size_t>(field);
        EXPECT_EQ(offset, aligned(alignof(Type)));
        size += sizeof(Type);
    };
    (expectNext(fields), ...);
    EXPECT_EQ(sizeof(Class), aligned(alignof(Class)));
}

struct OpenBase : ValueAccessBase {
    static void expect() {
        expectFields<ValueAccessBase>(sizeof(void*), &OpenBase::object, &OpenBase::handler, &OpenBase::name,
                                      &OpenBase::connectTimeoutMs);
    }
};

constexpr std::size_t BASES = sizeof(ValueAccessBase) + sizeof(void*);  ///< Of an access: also its observer.

struct OpenAction : ActionAccess {
    static void expect() { expectFields<ActionAccess>(BASES, &OpenAction::actionHandler); }
};

struct OpenTable : TableAccess {
    static void expect() { expectFields<TableAccess>(BASES, &OpenTable::tableHandler, &OpenTable::table); }
};

struct OpenIterator : IteratorAccess {
    static void expect() {
        expectFields<IteratorAccess>(BASES, &OpenIterator::iteratorHandler, &OpenIterator::iteratorType,
                                     &OpenIterator::selections, &OpenIterator::columns, &OpenIterator::orders,
                                     &OpenIterator::iterator, &OpenIterator::tableAccess);
    }
};

struct OpenFacade : orvane::NRXModelAccess {
    static void expect() {
        expectFields<NRXModelAccess>(
            sizeof(void*), &OpenFacade::client, &OpenFacade::commandListenerStarted, &OpenFacade::eventListenerStarted,
            &OpenFacade::commandValue, &OpenFacade::eventValue, &OpenFacade::softwareVersionValue,
            &OpenFacade::featureCodeValue, &OpenFacade::productionTypeValue, &OpenFacade::sourceSwitchAction);
    }
};

TEST(Fields, StandInTheirOrderAndAreAllThereIs) {
    OpenBase::expect();
    OpenAction::expect();
    OpenTable::expect();
    OpenIterator::expect();
    OpenFacade::expect();
    EXPECT_EQ(sizeof(orvane::NRXModelAccess), sizeof(void*) == 4 ? 56U : 112U);
    EXPECT_EQ(sizeof(ValueAccessT<ObserverNumericInteger>), BASES);
    EXPECT_EQ(sizeof(ValueAccessT<ObserverVectorString>), BASES);
    expectFields<ValueObject>(sizeof(void*), &ValueObject::typeTag, &ValueObject::scalar, &ValueObject::stringValue,
                              &ValueObject::elements);
    EXPECT_EQ(sizeof(IValueObject), sizeof(void*));
    EXPECT_EQ(sizeof(orvane::INrxModelAccess), sizeof(void*));
}

}  // namespace
}  // namespace test
