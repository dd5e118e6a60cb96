// The virtual slots are a binary contract, with the television on one side and with the embedding process on the other:
// everything here is called by the number of its slot, as a caller compiled elsewhere does.

#include <cstring>
#include <functional>
#include <numeric>
#include <typeinfo>
#include <utility>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test {
namespace {

using namespace objbus;
using orvane::INrxModelAccess;
using orvane::NRXModelAccess;
using Integers = std::vector<int>;
using Strings = std::vector<std::string>;
using Arguments = std::vector<Argument>;

constexpr char KEY[] = "test.key";

/// Calls the operation in `slot` of the virtual table of `object`, a pointer to the class that declares it.
template <typename Result, typename... Parameters>
Result callSlot(void* object, std::size_t slot, Parameters... parameters) {
    using Operation = Result (*)(void*, Parameters...);
    void** const table = *static_cast<void***>(object);
    return reinterpret_cast<Operation>(table[slot])(object, std::forward<Parameters>(parameters)...);
}

/// The slot of a virtual member, as the Itanium C++ ABI and its ARM variant encode it.
template <typename Member>
std::size_t slotOf(Member member) {
    std::size_t words[2];
    static_assert(sizeof member == sizeof words);
    std::memcpy(words, &member, sizeof words);
#ifdef __arm__
    return words[0] / sizeof(void*);
#else
    return (words[0] - 1) / sizeof(void*);
#endif
}

/// An object of another compiler's making, whose operations note their slots.
template <typename Interface>
class Foreign {
public:
    Interface* get() { return reinterpret_cast<Interface*>(this); }
    std::shared_ptr<Interface> shared() { return {std::shared_ptr<void>(), get()}; }
    std::vector<std::size_t> take() { return std::exchange(called_, {}); }

private:
    template <std::size_t SLOT>
    static void note(Foreign* self) {
        self->called_.push_back(SLOT);
    }
    template <std::size_t... SLOTS>
    static void const* const* tableOf(std::index_sequence<SLOTS...>) {
        static void const* const table[]{nullptr, &typeid(Interface), reinterpret_cast<void*>(&note<SLOTS>)...};
        return table + 2;
    }

    void const* const* table_ = tableOf(std::make_index_sequence<9>());
    std::vector<std::size_t> called_;
};

std::vector<std::size_t> firstSlots(std::size_t count) {
    std::vector<std::size_t> slots(count);
    std::iota(slots.begin(), slots.end(), 0U);
    return slots;
}

class SlotTest : public TelevisionTest {
public:
    /// The operation that a call traced first.
    std::string traced(std::function<void()> const& call) {
        logged();
        call();
        std::string const line = logged().at(0);
        std::size_t const start = std::strlen("DEBUG [TRACE -> ");
        return line.substr(start, line.find('(') - start);
    }
};

TEST(Slots, TheTelevisionsObjects) {
    using Slots = std::vector<std::size_t>;
    EXPECT_EQ((Slots{slotOf(&Object::getType), slotOf(&RootInterface::connectObject),
                     slotOf(&RootInterface::disconnectObject), slotOf(&ObjectAction::invoke),
                     slotOf(&ObjectTable::createIterator), slotOf(&ObjectTable::destroyIterator)}),
              (Slots{2, 5, 6, 5, 3, 4}));
    EXPECT_EQ((Slots{slotOf(&ObjectNumericInteger::setValue), slotOf(&ObjectNumericInteger::getValue),
                     slotOf(&ObjectNumericInt64::setValue), slotOf(&ObjectNumericInt64::getValue),
                     slotOf(&ObjectString::getValue), slotOf(&ObjectString::setValue),
                     slotOf(&ObjectVectorNumericInteger::setValue), slotOf(&ObjectVectorNumericInteger::getValue),
                     slotOf(&ObjectVectorString::setValue), slotOf(&ObjectVectorString::getValue)}),
              (Slots{3, 4, 3, 4, 3, 4, 4, 5, 4, 5}));
}

TEST_F(SlotTest, TheFacadeAndItsClient) {
    std::string const command = "torvi.sl2.vstr.videoplayer.nrx.command";
    std::string const event = "torvi.sl2.vstr.videoplayer.nrx.event";
    tv.publish(command, Strings{});
    tv.publish(event, Strings{});
    tv.publish("torvi.sl2.str.orvfactory.software.version", "version");
    tv.publish("torvi.sl2.str.orvfactory.production.type", "type");
    tv.publish("torvi.sl2.str.basic.settings.tv.featurecode", "feature");
    Foreign<orvane::NRXModelAccessClient> client;
    void* const facade = static_cast<INrxModelAccess*>(new NRXModelAccess);
    callSlot<void, orvane::NRXModelAccessClient*>(facade, 2, client.get());
    EXPECT_EQ(traced([&] { callSlot<void>(facade, 3); }), "start");
    EXPECT_EQ(callSlot<std::string>(facade, 4), "version");
    EXPECT_EQ(callSlot<std::string>(facade, 5), "type");
    EXPECT_EQ(callSlot<std::string>(facade, 6), "feature");
    logged();
    callSlot<std::string>(facade, 7);
    EXPECT_EQ(logged().at(0),
              FACADE.error("getDeviceID", "Error opening /APPS/deviceserial/deviceId, try default location"));
    EXPECT_EQ(traced([&] { callSlot<void>(facade, 12); }), "requestStartNRXService");
    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    for (std::size_t const relay : {0U, 1U}) {
        callSlot<void>(facade, 8 + 2 * relay);
        callSlot<void, IValueObject const&>(facade, 13 + relay, list);
        EXPECT_EQ(client.take(), std::vector{relay});
        callSlot<void>(facade, 9 + 2 * relay);
        callSlot<void, IValueObject const&>(facade, 13 + relay, list);
        EXPECT_TRUE(client.take().empty());
    }
    callSlot<void, std::string, Strings>(facade, 16, event, {"x"});
    Strings values;
    callSlot<void, std::string, Strings&>(facade, 15, event, values);
    EXPECT_EQ(values, Strings{"x"});
    EXPECT_EQ(traced([&] { callSlot<void>(facade, 1); }), "~NRXModelAccess");
}

template <typename T>
ValueObjectType typeAfter(void* value, std::size_t slot, T const& assigned) {
    using Parameter = std::conditional_t<std::is_scalar_v<T>, T, T const&>;
    EXPECT_EQ((&callSlot<IValueObject&, Parameter>(value, slot, assigned)), value);
    return callSlot<ValueObjectType>(value, 2);
}

TEST_F(SlotTest, TheValueObject) {
    void* const value = static_cast<IValueObject*>(new ValueObject);
    EXPECT_EQ(typeAfter(value, 3, true), VALUE_BOOL);
    EXPECT_EQ(typeAfter(value, 5, 1U), VALUE_UINT);
    EXPECT_EQ(typeAfter(value, 6, 1LL), VALUE_INT64);
    EXPECT_EQ(typeAfter(value, 7, 1ULL), VALUE_UINT64);
    EXPECT_EQ(typeAfter(value, 8, 1.0F), VALUE_FLOAT);
    EXPECT_EQ(typeAfter(value, 9, 1.0), VALUE_DOUBLE);
    EXPECT_EQ(typeAfter(value, 10, "text"s), VALUE_STRING);
    EXPECT_EQ(typeAfter(value, 4, -2), VALUE_INT);
    EXPECT_EQ(callSlot<std::string>(value, 11) + callSlot<std::string>(value, 19), "-2-2");
    EXPECT_TRUE(callSlot<bool>(value, 12));
    EXPECT_EQ(callSlot<int>(value, 13), -2);
    EXPECT_EQ(callSlot<unsigned int>(value, 14), 4294967294U);
    EXPECT_EQ(callSlot<long long>(value, 15), -2LL);
    EXPECT_EQ(callSlot<unsigned long long>(value, 16), 18446744073709551614ULL);
    EXPECT_EQ(callSlot<float>(value, 17) + callSlot<double>(value, 18), -4.0);
    EXPECT_EQ(callSlot<std::vector<unsigned int>>(value, 20), std::vector{4294967294U});
    EXPECT_EQ(callSlot<Integers>(value, 21), Integers{-2});
    EXPECT_EQ(callSlot<Strings>(value, 22), Strings{"-2"});
    callSlot<void>(value, 1);
}

/// Reads what `written` was written, each through its slot, and expects the object to hold it.
template <typename Obs, typename T>
void expectReadAndWrite(simulator::Television& tv, std::size_t readSlot, std::size_t writeSlot, T const& written) {
    using Parameter = std::conditional_t<std::is_scalar_v<T>, T, T const&>;
    tv.publish(KEY, T{});
    void* const access = static_cast<ValueAccessBase*>(new ValueAccessT<Obs>(KEY));
    EXPECT_EQ((callSlot<int, Parameter>(access, writeSlot, written)), 0);
    T read{};
    EXPECT_EQ((callSlot<int, T&>(access, readSlot, read)), 0);
    EXPECT_EQ(read, written);
    callSlot<void>(access, 1);
}

/// Notifies through the observer's slot and through the access object's own.
template <typename Obs, typename T>
Lines notified(std::size_t ownSlot, T const& value) {
    using Parameter = std::conditional_t<std::is_scalar_v<T>, T, T const&>;
    auto const handler = std::make_shared<RecordingHandler>();
    ValueAccessT<Obs> access(KEY);
    callSlot<int, std::shared_ptr<ValueHandler>>(static_cast<ValueAccessBase*>(&access), 2, handler);
    callSlot<void, Parameter>(static_cast<Obs*>(&access), 3, value);
    callSlot<void, Parameter>(static_cast<ValueAccessBase*>(&access), ownSlot, value);
    return handler->values;
}

TEST_F(SlotTest, TheValueAccessesAndTheirObservers) {
    ValueAccessT<ObserverString> access(KEY);
    void* const base = static_cast<ValueAccessBase*>(&access);
    Foreign<ValueHandler> handler;
    tv.publish(KEY, "text");
    EXPECT_EQ((callSlot<int, int>(base, 3, 0)), 0);
    EXPECT_EQ(callSlot<ObjectTypeSpec>(base, 5), OBJECT_TYPE_STRING);
    EXPECT_EQ(callSlot<std::string>(base, 6), KEY);
    EXPECT_EQ(callSlot<int>(base, 4), 0);
    EXPECT_EQ(access.getType(), OBJECT_TYPE_NONE);
    access.setNewValueHandler(handler.shared());
    callSlot<void, ValueObject const&>(base, 17, ValueObject(1));
    EXPECT_EQ(handler.take(), firstSlots(1));
    expectReadAndWrite<ObserverString>(tv, 7, 12, "new"s);
    expectReadAndWrite<ObserverNumericInteger>(tv, 8, 13, 7);
    expectReadAndWrite<ObserverNumericInt64>(tv, 9, 14, 8LL);
    expectReadAndWrite<ObserverVectorString>(tv, 10, 15, Strings{"a"});
    expectReadAndWrite<ObserverVectorNumericInteger>(tv, 11, 16, Integers{1});
    EXPECT_EQ(notified<ObserverNumericInteger>(18, 1), (Lines{"1 1", "1 1"}));
    EXPECT_EQ(notified<ObserverNumericInt64>(19, 2LL), (Lines{"3 2", "3 2"}));
    EXPECT_EQ(notified<ObserverString>(20, "s"s), (Lines{"8 s", "8 s"}));
    EXPECT_EQ(notified<ObserverVectorNumericInteger>(21, Integers{3}), (Lines{"9 [3]", "9 [3]"}));
    EXPECT_EQ(notified<ObserverVectorString>(22, Strings{"t"}), (Lines{"9 [t]", "9 [t]"}));
}

TEST_F(SlotTest, TheActionAndTheTableAccess) {
    Foreign<ActionHandler> handler;
    tv.publishAction(KEY, {});
    ActionAccess action(KEY);
    void* const base = static_cast<ValueAccessBase*>(&action);
    void* const observer = static_cast<ObserverAction*>(&action);
    action.connect(0);
    callSlot<int, std::shared_ptr<ActionHandler>>(base, 18, handler.shared());
    unsigned int id = 5;
    EXPECT_EQ((callSlot<int, unsigned int&, Arguments const&>(base, 19, id, {})), 0);
    for (auto const& [object, resultSlot, errorSlot] : {std::tuple(observer, 3U, 4U), std::tuple(base, 21U, 20U)}) {
        callSlot<void, unsigned int, Arguments const&>(object, resultSlot, 1U, {});
        callSlot<void, unsigned int, int>(object, errorSlot, 1U, 2);
        EXPECT_EQ(handler.take(), firstSlots(2));
    }
    action.disconnect();
    TableAccess table(KEY);
    auto const shared = std::make_shared<TableHandler>();
    callSlot<int, std::shared_ptr<TableHandler>>(static_cast<ValueAccessBase*>(&table), 18, shared);
    EXPECT_EQ(shared.use_count(), 2);
    EXPECT_EQ(traced([&] { callSlot<void, int>(static_cast<ValueAccessBase*>(&table), 19, 1); }), "notifyUpdate");
    EXPECT_EQ(traced([&] { callSlot<void, int>(static_cast<ObserverTable*>(&table), 3, 1); }), "notifyUpdate");
}

TEST_F(SlotTest, TheIteratorAccess) {
    tv.publishTable(KEY, {});
    Foreign<IteratorHandler> handler;
    IteratorAccess access(KEY, nullptr, {}, {}, {}, {});
    void* const base = static_cast<ValueAccessBase*>(&access);
    EXPECT_EQ(callSlot<int>(base, 18), 0);
    EXPECT_NE(access.getIterator(), nullptr);
    EXPECT_EQ(callSlot<int>(base, 19), 0);
    EXPECT_EQ(access.getIterator(), nullptr);
    callSlot<int, std::shared_ptr<IteratorHandler>>(base, 20, handler.shared());
    for (auto const& [object, first] :
         {std::pair(static_cast<void*>(static_cast<ObserverTableIterator*>(&access)), 3U), std::pair(base, 21U)}) {
        Strings names;
        for (std::size_t slot = first; slot < first + 9; ++slot) {
            names.push_back(traced([&, notified = object] { callSlot<void, Strings const&>(notified, slot, {}); }));
        }
        EXPECT_EQ(names, (Strings{"notifyCommit", "notifyTotalCount", "notifySeekToRow", "notifySeekToContent",
                                  "notifyCursorPosition", "notifyReadRow", "notifyReadRowChunk", "notifyIteratorReady",
                                  "notifyUpdate"}));
        EXPECT_EQ(handler.take(), firstSlots(9));
    }
}

}  // namespace
}  // namespace test
