#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"

#include <functional>
#include <optional>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "support.h"

namespace test {
namespace {

using namespace orvane::system::support;
using namespace std::string_literals;

constexpr char KEY[] = "test.key";
constexpr char BASE[] = "value_access_base.cpp";

using IntegerAccess = ValueAccessT<objbus::ObserverNumericInteger>;
using Int64Access = ValueAccessT<objbus::ObserverNumericInt64>;
using StringAccess = ValueAccessT<objbus::ObserverString>;
using IntegerListAccess = ValueAccessT<objbus::ObserverVectorNumericInteger>;
using StringListAccess = ValueAccessT<objbus::ObserverVectorString>;

template <typename T>
int readKeepsOutUnlessOk(ValueAccessBase& access, T const& before, T const& inModel) {
    T out = before;
    int const status = access.getValue(out);
    EXPECT_EQ(out, status == 0 ? inModel : before);
    return status;
}

/// Every object type with its access and the value that it holds, and every operation on each.
struct Typed {
    char const* typeName;
    simulator::Value value;
    std::function<std::unique_ptr<ValueAccessBase>()> make;
};

std::vector<Typed> const& typed() {
    static std::vector<Typed> const rows{
        {"OBJECT_TYPE_NUMERIC_INTEGER", 5, [] { return std::make_unique<IntegerAccess>(KEY); }},
        {"OBJECT_TYPE_NUMERIC_INT64", 6LL, [] { return std::make_unique<Int64Access>(KEY); }},
        {"OBJECT_TYPE_STRING", "old"s, [] { return std::make_unique<StringAccess>(KEY); }},
        {"OBJECT_TYPE_VECTOR_NUMERIC_INTEGER", std::vector{1, 2},
         [] { return std::make_unique<IntegerListAccess>(KEY); }},
        {"OBJECT_TYPE_VECTOR_STRING", std::vector{"p"s, "q"s}, [] { return std::make_unique<StringListAccess>(KEY); }},
    };
    return rows;
}

struct Operation {
    char const* name;
    std::function<int(ValueAccessBase&)> call;
    std::map<std::string, simulator::Value> accepted;  ///< Type names, and what the object holds afterwards.
    bool namesType = true;                             ///< In its mismatch line.
};

std::vector<Operation> const& operations() {
    static std::vector<Operation> const rows{
        {"getValue",
         [](auto& access) { return readKeepsOutUnlessOk(access, -1, 5); },
         {{"OBJECT_TYPE_NUMERIC_INTEGER", 5}}},
        {"getValue",
         [](auto& access) { return readKeepsOutUnlessOk(access, -1LL, 6LL); },
         {{"OBJECT_TYPE_NUMERIC_INT64", 6LL}}},
        {"getValue",
         [](auto& access) { return readKeepsOutUnlessOk(access, "before"s, "old"s); },
         {{"OBJECT_TYPE_STRING", "old"s}}},
        {"getValue",
         [](auto& access) {
             return readKeepsOutUnlessOk(access, {9}, std::vector{1, 2});
         },
         {{"OBJECT_TYPE_VECTOR_NUMERIC_INTEGER", std::vector{1, 2}}}},
        {"getValue",
         [](auto& access) {
             return readKeepsOutUnlessOk(access, {"z"s}, std::vector{"p"s, "q"s});
         },
         {{"OBJECT_TYPE_VECTOR_STRING", std::vector{"p"s, "q"s}}}},
        {"setValue", [](auto& access) { return access.setValue("new"s); }, {{"OBJECT_TYPE_STRING", "new"s}}},
        {"setValue",
         [](auto& access) { return access.setValue(-1); },
         {{"OBJECT_TYPE_NUMERIC_INTEGER", -1}, {"OBJECT_TYPE_NUMERIC_INT64", -1LL}},
         false},
        {"setValue",
         [](auto& access) { return access.setValue(-2147483648LL); },
         {{"OBJECT_TYPE_NUMERIC_INTEGER", -2147483647 - 1}, {"OBJECT_TYPE_NUMERIC_INT64", -2147483648LL}},
         false},
        {"setValue",
         [](auto& access) {
             return access.setValue(std::vector{7, 8, 9});
         },
         {{"OBJECT_TYPE_VECTOR_NUMERIC_INTEGER", std::vector{7, 8, 9}}}},
        {"setValue",
         [](auto& access) { return access.setValue(std::vector<std::string>{}); },
         {{"OBJECT_TYPE_VECTOR_STRING", std::vector<std::string>{}}}},
    };
    return rows;
}

TEST_F(TelevisionTest, EveryReadAndWriteAcceptsItsTypesAndLeavesTheOthersAlone) {
    for (auto const& [typeName, value, make] : typed()) {
        for (std::size_t row = 0; row < operations().size(); ++row) {
            auto const& [name, call, accepted, namesType] = operations()[row];
            SCOPED_TRACE(std::string(name) + " " + std::to_string(row) + " on " + typeName);
            tv.publish(KEY, value);
            auto const access = make();
            ASSERT_EQ(access->connect(0), 0);
            logged();
            auto const match = accepted.find(typeName);
            bool const matches = match != accepted.end();
            EXPECT_EQ(call(*access), matches ? 0 : 6);
            EXPECT_EQ(tv.get(KEY), matches ? match->second : value);
            tv.waitUntilDelivered();
            std::string const message =
                namesType ? "Object Type mismatch:  "s + typeName : "STATUS_ERR_VALUE_TYPE_MISMATCH";
            Lines const lines = matches ? Lines{} : Lines{error(BASE, name, message)};
            if (name == "setValue"s && !matches) {
                EXPECT_EQ(logged(), traced(BASE, name, lines));
            } else if (!matches) {
                EXPECT_EQ(logged(), lines);
            }
        }
    }
}

TEST_F(TelevisionTest, AWriteBeyondTheIntegerRangeIsRefused) {
    tv.publish(KEY, 1);
    IntegerAccess access(KEY);
    access.connect(0);
    EXPECT_EQ(access.setValue(2147483647LL), 0);
    tv.waitUntilDelivered();
    logged();
    for (long long const value : {2147483648LL, -2147483649LL}) {
        EXPECT_EQ(access.setValue(value), 6);
        EXPECT_EQ(
            logged(),
            traced(BASE, "setValue",
                   {error(BASE, "setValue", "Value is too large for int32 value:  [" + std::to_string(value) + "] ")}));
    }
    EXPECT_EQ(tv.get(KEY), simulator::Value(2147483647));
}

TEST_F(TelevisionTest, AReadConnectsOnDemandWithTheLastBudgetAndTriesAgain) {
    StringAccess access(KEY);
    std::string text = "before";
    Lines const failure{
        error("value_access.cpp", "connect", "Failed 1"),
        error(BASE, "tryConnectIfNeeded", "BizValue connect failed:'test.key', ret: 5"),
    };
    tv.failConnects(KEY, {.status = 1});
    for (std::size_t const sleeps : {10U, 10U, 2U}) {  // The default of 1000 milliseconds, twice; then 200.
        if (sleeps == 2) {
            access.connect(200);
            takeSleeps();
            logged();
        }
        EXPECT_EQ(access.getValue(text), 5);
        EXPECT_EQ(text, "before");
        EXPECT_EQ(takeSleeps().size(), sleeps);
        EXPECT_EQ(logged(), failure);
    }
    tv.failConnects(KEY, {.status = 1, .attempts = 0});
    tv.publish(KEY, "text"s);
    EXPECT_EQ(access.getValue(text), 0);
    EXPECT_EQ(text, "text");
    EXPECT_EQ(logged(), Lines{info(BASE, "tryConnectIfNeeded", "BizValue connect successfully:'test.key'.")});
}

TEST_F(TelevisionTest, TheModelsOwnStatusOfAReadIsPassedOn) {
    for (auto const& [typeName, value, make] : typed()) {
        bool const hasStatus = typeName != "OBJECT_TYPE_NUMERIC_INTEGER"s && typeName != "OBJECT_TYPE_NUMERIC_INT64"s;
        if (hasStatus) {
            SCOPED_TRACE(typeName);
            tv.publish(KEY, value);
            tv.failReads(KEY, 77);
            auto const access = make();
            std::string text;
            std::vector<int> numbers;
            std::vector<std::string> texts;
            int const statuses[] = {access->getValue(text), access->getValue(numbers), access->getValue(texts)};
            EXPECT_EQ(std::count(std::begin(statuses), std::end(statuses), 77), 1);
            EXPECT_EQ(std::count(std::begin(statuses), std::end(statuses), 6), 2);
        }
    }
}

TEST_F(TelevisionTest, AnAccessThatConnectsToNoObjectIsATypeMismatch) {
    IteratorAccess access(KEY, nullptr, {}, {}, {}, {});
    Lines const unknown{error(BASE, "getType", "Unknown Type since value is not connected  : test.key.")};
    for (Operation const& operation : operations()) {
        logged();
        EXPECT_EQ(operation.call(access), 6);
        std::string const message =
            operation.namesType ? "Object Type mismatch:  OBJECT_TYPE_NONE" : "STATUS_ERR_VALUE_TYPE_MISMATCH";
        Lines const lines = joined({{info(BASE, "tryConnectIfNeeded", "BizValue connect successfully:'test.key'.")},
                                    operation.namesType ? unknown : Lines{},
                                    {error(BASE, operation.name, message)}});
        EXPECT_EQ(logged(), operation.name == "setValue"s ? traced(BASE, "setValue", lines) : lines);
    }
    EXPECT_EQ(tv.lookups(), 0);
}

/// Changes each object as the television would; the access must report it as this value.
struct Change {
    simulator::Value from;
    simulator::Value to;
    std::function<std::unique_ptr<ValueAccessBase>(std::shared_ptr<ValueHandler>)> make;
    char const* notification;
    std::string delivered;
};

template <typename Access>
std::unique_ptr<ValueAccessBase> withHandler(std::shared_ptr<ValueHandler> handler) {
    return std::make_unique<Access>(KEY, std::move(handler));
}

TEST_F(TelevisionTest, EveryChangeReachesTheHandlerAsAValueOfItsKind) {
    std::vector<Change> const changes{
        {1, -2, withHandler<IntegerAccess>, "notifyNewValue", "1 -2"},
        {1LL, 1LL << 40, withHandler<Int64Access>, "notifyNewValue", "3 1099511627776"},
        {""s, "a\0b"s, withHandler<StringAccess>, "notifyNewValue", "8 a\0b"s},
        {std::vector<int>{}, std::vector{3, -4}, withHandler<IntegerListAccess>, "notifyIntegerVector", "9 [3,-4]"},
        {std::vector{"x"s}, std::vector<std::string>{}, withHandler<StringListAccess>, "notifyStringVector", "9 []"},
    };
    for (Change const& change : changes) {
        SCOPED_TRACE(change.delivered);
        auto const handler = std::make_shared<RecordingHandler>();
        auto access = change.make(handler);
        tv.publish(KEY, change.from);
        ASSERT_EQ(access->connect(0), 0);
        EXPECT_TRUE(tv.set(KEY, change.to));
        tv.waitUntilDelivered();
        EXPECT_EQ(handler->take(), Lines{change.delivered});
        EXPECT_EQ(logged(), traced("value_access.cpp", change.notification, traced(BASE, "onNewValue")));

        EXPECT_EQ(access->setNewValueHandler(nullptr), 0);
        EXPECT_EQ(logged(), traced(BASE, "setNewValueHandler"));
        tv.set(KEY, change.from);
        tv.waitUntilDelivered();
        EXPECT_EQ(logged(), traced("value_access.cpp", change.notification));  // No value was built.

        access.reset();
        tv.set(KEY, change.to);
        tv.waitUntilDelivered();
        EXPECT_TRUE(handler->take().empty());
        EXPECT_EQ(handler.use_count(), 1);
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 5);
}

TEST_F(TelevisionTest, EveryInstanceHasAllNotifications) {
    auto const handler = std::make_shared<RecordingHandler>();
    StringAccess access(KEY, handler);
    access.notifyNewValue(1);
    access.notifyNewValue(2LL);
    access.notifyNewValue("s"s);
    access.notifyIntegerVector({3});
    access.notifyStringVector({"t"s, ""s});
    EXPECT_EQ(handler->take(), (Lines{"1 1", "3 2", "8 s", "9 [3]", "9 [t,]"}));
    EXPECT_EQ(tv.lookups(), 0);
}

TEST_F(TelevisionTest, ACopyIsAFreshObjectThatSharesNothing) {
    tv.publish(KEY, 1);
    auto const handler = std::make_shared<RecordingHandler>();
    IntegerAccess access(KEY, handler);
    access.connect(200);
    {
        IntegerAccess copy(access);
        EXPECT_EQ(copy.getName(), "");
        EXPECT_EQ(copy.getType(), objbus::OBJECT_TYPE_NONE);
        int number = 0;
        copy.getValue(number);
        EXPECT_EQ(takeSleeps().size(), 10U);
        EXPECT_EQ(handler.use_count(), 2);
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
    tv.set(KEY, 2);
    tv.waitUntilDelivered();
    EXPECT_EQ(handler->take(), Lines{"1 2"});
}

struct Receiver {
    virtual ~Receiver() = default;
    virtual void receive(IValueObject const& value) { text = "base " + value.convertToStringType(); }
    std::string text;
};

struct DerivedReceiver : Receiver {
    void receive(IValueObject const& value) override { text = "derived " + value.convertToStringType(); }
};

TEST(ValueHandler, IsBoundToAMemberByItsDynamicType) {
    DerivedReceiver receiver;
    make_value_handler<Receiver>(&receiver, &Receiver::receive)->handleNewValue(ValueObject(5));
    EXPECT_EQ(receiver.text, "derived 5");
    make_value_handler<Receiver>(nullptr, &Receiver::receive)->handleNewValue(ValueObject(6));
    make_value_handler<Receiver>(&receiver, nullptr)->handleNewValue(ValueObject(6));
    EXPECT_EQ(receiver.text, "derived 5");
}

TEST(AccessTypeName, NamesTheTypesAndNothingElse) {
    char const* const names[] = {"OBJECT_TYPE_NONE",          "OBJECT_TYPE_NUMERIC_INTEGER",
                                 "OBJECT_TYPE_STRING",        "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER",
                                 "OBJECT_TYPE_VECTOR_STRING", "OBJECT_TYPE_ACTION",
                                 "OBJECT_TYPE_TABLE",         "OBJECT_TYPE_VECTOR_INTEGER",
                                 "OBJECT_TYPE_NUMERIC_INT64", "OBJECT_TYPE_NONE"};
    for (int type = 0; type < 10; ++type) {
        EXPECT_STREQ(ValueAccessBase::accessTypeName(static_cast<objbus::ObjectTypeSpec>(type)), names[type]);
    }
    EXPECT_STREQ(ValueAccessBase::accessTypeName(static_cast<objbus::ObjectTypeSpec>(-1)), "OBJECT_TYPE_NONE");
}

}  // namespace
}  // namespace test
