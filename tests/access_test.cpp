// What all access objects have in common, and the values.

#include <climits>
#include <functional>
#include <map>
#include <tuple>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "support.h"

namespace test {
namespace {

using namespace objbus;
using simulator::RootLookup;
using simulator::Value;
using Integers = std::vector<int>;
using Strings = std::vector<std::string>;
using AccessPtr = std::unique_ptr<ValueAccessBase>;
using HandlerPtr = std::shared_ptr<ValueHandler>;

constexpr char KEY[] = "test.key";

class ConnectTest : public TelevisionTest, public ::testing::WithParamInterface<ObjectTypeSpec> {
public:
    static AccessPtr make() {
        switch (GetParam()) {
            case OBJECT_TYPE_ACTION:
                return std::make_unique<ActionAccess>(KEY);
            case OBJECT_TYPE_TABLE:
                return std::make_unique<TableAccess>(KEY);
            default:
                return std::make_unique<ValueAccessT<ObserverString>>(KEY);
        }
    }
    [[nodiscard]] std::string failed(int status) const {
        Source const& source = GetParam() == OBJECT_TYPE_ACTION  ? ACTION
                               : GetParam() == OBJECT_TYPE_TABLE ? TABLE
                                                                 : VALUE;
        return source.error("connect", "Failed " + std::to_string(status));
    }

    AccessPtr access = make();
};

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectTest,
                         ::testing::Values(OBJECT_TYPE_STRING, OBJECT_TYPE_ACTION, OBJECT_TYPE_TABLE));

TEST_P(ConnectTest, TheBudgetDecidesAttemptsAndSleeps) {
    tv.failConnects(KEY, {.status = 33});
    for (auto const& [budgetMs, attempts, sleeps] : std::vector<std::tuple<int, int, std::size_t>>{
             {-5, 1, 0}, {0, 1, 0}, {50, 1, 1}, {150, 2, 2}, {1000, 10, 10}}) {
        int const before = tv.counts(KEY).connectAttempts;
        EXPECT_EQ(access->connect(budgetMs), 5);
        EXPECT_EQ(tv.counts(KEY).connectAttempts - before, attempts) << budgetMs;
        EXPECT_EQ(takeSleeps(), std::vector<unsigned int>(sleeps, 100000)) << budgetMs;
        EXPECT_EQ(logged(), Lines{failed(33)});
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
}

TEST_P(ConnectTest, OnlyStatusZeroWithAnObjectIsASuccess) {
    tv.publishBare(KEY, GetParam());
    tv.failConnects(KEY, {.status = 0});
    EXPECT_EQ(access->connect(0), 5);
    tv.failConnects(KEY, {.status = 4, .handsOutObject = true});
    EXPECT_EQ(access->connect(0), 5);
    EXPECT_EQ(logged(), (Lines{failed(0), failed(4)}));
    EXPECT_EQ(access->getType(), OBJECT_TYPE_NONE);
    EXPECT_EQ(logged(), Lines{BASE.error("getType", "Unknown Type since value is not connected  : test.key.")});
    tv.failConnects(KEY, {.status = 4, .attempts = 3});
    EXPECT_EQ(access->connect(400), 0);
    EXPECT_EQ(takeSleeps().size(), 3U);
    EXPECT_EQ(access->getType(), GetParam());
    access->disconnect();
}

TEST_P(ConnectTest, AConnectedObjectIsNotAskedForAgainButKeepsTheNewBudget) {
    EXPECT_EQ(access->disconnect(), 0);  // Reaches the model without an object, too.
    EXPECT_EQ(tv.counts(KEY).disconnectsWithoutObject, 1);
    tv.publishBare(KEY, GetParam());
    EXPECT_EQ(access->connect(0), 0);
    EXPECT_EQ(access->connect(250), 0);
    EXPECT_EQ(tv.counts(KEY).connectAttempts, 1);
    EXPECT_EQ(access->disconnect(), 0);
    EXPECT_EQ(tv.counts(KEY).disconnects, 2);
    EXPECT_EQ(tv.lookups(), 3);  // Each looked up anew.
    tv.withdraw(KEY);
    EXPECT_EQ(access->setValue(1), 5);
    EXPECT_EQ(takeSleeps().size(), 3U);
}

TEST_P(ConnectTest, WithoutARootInterfaceNothingIsWaitedForOrCrashes) {
    tv.publishBare(KEY, GetParam());
    for (auto const answer : {RootLookup::refused, RootLookup::emptyReference, RootLookup::nullObject}) {
        access->connect(0);
        tv.setRootLookup(answer);
        testing::internal::CaptureStdout();
        EXPECT_EQ(access->disconnect(), 0);
        EXPECT_EQ(access->connect(1000), 5);
        std::string const refusal = answer == RootLookup::nullObject ? "" : "get interface Reference failed.\n";
        EXPECT_EQ(testing::internal::GetCapturedStdout(), refusal + refusal);
        EXPECT_EQ(logged(), Lines{failed(5)});
        EXPECT_TRUE(takeSleeps().empty());
        tv.setRootLookup(RootLookup::published);
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
}

/// One kind of object: its access, a first and a changed value, and how a handler sees the change.
struct Kind {
    ObjectTypeSpec type;
    std::string observer;
    AccessPtr (*make)(HandlerPtr handler);
    Value value;
    Value changed;
    std::string notification;
    std::string delivered;
};

template <typename Obs>
AccessPtr make(HandlerPtr handler) {
    return std::make_unique<ValueAccessT<Obs>>(KEY, std::move(handler));
}

Kind const KINDS[] = {
    {OBJECT_TYPE_NUMERIC_INTEGER, "ObserverNumericInteger", make<ObserverNumericInteger>, 5, -2, "notifyNewValue",
     "1 -2"},
    {OBJECT_TYPE_NUMERIC_INT64, "ObserverNumericInt64", make<ObserverNumericInt64>, 6LL, 7LL, "notifyNewValue", "3 7"},
    {OBJECT_TYPE_STRING, "ObserverString", make<ObserverString>, "old"s, "a\0b"s, "notifyNewValue", "8 a\0b"s},
    {OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, "ObserverVectorNumericInteger", make<ObserverVectorNumericInteger>,
     Integers{1, 2}, Integers{3, -4}, "notifyIntegerVector", "9 [3,-4]"},
    {OBJECT_TYPE_VECTOR_STRING, "ObserverVectorString", make<ObserverVectorString>, Strings{"p", "q"}, Strings{},
     "notifyStringVector", "9 []"},
};

TEST_F(TelevisionTest, AnObjectOfAnotherTypeIsGivenBack) {
    for (int type = 0; type <= 9; ++type) {
        tv.publishBare(KEY, static_cast<ObjectTypeSpec>(type));
        auto const expectConnect = [&](AccessPtr const& access, Source const& source, std::string const& observer,
                                       bool matches) {
            int const before = tv.counts(KEY).disconnects;
            EXPECT_EQ(access->connect(0), matches ? 0 : 6);
            std::string const mismatch = "test.key,( " + std::to_string(type) + " ) vs " + observer + " ";
            EXPECT_EQ(logged(),
                      matches ? Lines{} : Lines{source.error("connect", "Observer Type not match for " + mismatch)});
            EXPECT_EQ(tv.counts(KEY).disconnects - before, matches ? 0 : 1);
            access->disconnect();
        };
        for (Kind const& kind : KINDS) {
            expectConnect(kind.make(nullptr), VALUE, kind.observer, kind.type == type);
        }
        expectConnect(std::make_unique<ActionAccess>(KEY), ACTION, "ObserverAction", type == OBJECT_TYPE_ACTION);
    }
}

TEST_F(TelevisionTest, AValueKeyedMissingIsNeverAskedFor) {
    int number = 7;
    EXPECT_EQ(ValueAccessT<ObserverNumericInteger>("missing").getValue(number), 8);
    EXPECT_EQ(logged(), (Lines{VALUE.error("connect", "Value is 'missing'."),
                               BASE.error("tryConnectIfNeeded", "BizValue connect failed:'missing', ret: 8")}));
    EXPECT_EQ(tv.lookups(), 0);
}

/// A read or write, and for each type that accepts it what the object holds afterwards.
struct Operation {
    std::string name;
    std::function<int(ValueAccessBase&)> call;
    std::map<ObjectTypeSpec, Value> accepted;
    bool namesType = true;  ///< In its mismatch line.
};

/// Reads into a variable that must change exactly when the read succeeds.
template <typename T>
Operation read(ObjectTypeSpec type, T const& before, T const& inModel) {
    auto const call = [=](ValueAccessBase& access) {
        T out = before;
        int const status = access.getValue(out);
        EXPECT_EQ(out, status == 0 ? inModel : before);
        return status;
    };
    return {"getValue", call, {{type, inModel}}};
}

template <typename T>
Operation write(T const& value, std::map<ObjectTypeSpec, Value> accepted, bool namesType = true) {
    return {"setValue", [=](auto& access) { return access.setValue(value); }, std::move(accepted), namesType};
}

Operation const OPERATIONS[] = {
    read(OBJECT_TYPE_NUMERIC_INTEGER, -1, 5),
    read(OBJECT_TYPE_NUMERIC_INT64, -1LL, 6LL),
    read(OBJECT_TYPE_STRING, "before"s, "old"s),
    read(OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, Integers{9}, Integers{1, 2}),
    read(OBJECT_TYPE_VECTOR_STRING, Strings{"z"}, Strings{"p", "q"}),
    write(-1, {{OBJECT_TYPE_NUMERIC_INTEGER, -1}, {OBJECT_TYPE_NUMERIC_INT64, -1LL}}, false),
    write(-2147483648LL, {{OBJECT_TYPE_NUMERIC_INTEGER, INT_MIN}, {OBJECT_TYPE_NUMERIC_INT64, -2147483648LL}}, false),
    write("new"s, {{OBJECT_TYPE_STRING, "new"s}}),
    write(Integers{7, 8, 9}, {{OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, Integers{7, 8, 9}}}),
    write(Strings{}, {{OBJECT_TYPE_VECTOR_STRING, Strings{}}}),
};

TEST_F(TelevisionTest, EveryReadAndWriteAcceptsItsTypesAndLeavesTheOthersAlone) {
    ownLinesOnly = true;
    IteratorAccess withoutObject(KEY, nullptr, {}, {}, {}, {});
    for (auto const& [name, call, accepted, namesType] : OPERATIONS) {
        EXPECT_EQ(call(withoutObject), 6);
        for (Kind const& kind : KINDS) {
            std::string const typeName = withoutObject.accessTypeName(kind.type);
            tv.publish(KEY, kind.value);
            auto const access = kind.make(nullptr);
            ASSERT_EQ(access->connect(0), 0);
            logged();
            bool const matches = accepted.contains(kind.type);
            EXPECT_EQ(call(*access), matches ? 0 : 6) << name << " of " << typeName;
            EXPECT_EQ(tv.get(KEY), matches ? accepted.at(kind.type) : kind.value) << name << " of " << typeName;
            std::string const mismatch =
                namesType ? "Object Type mismatch:  " + typeName : "STATUS_ERR_VALUE_TYPE_MISMATCH";
            Lines const lines = matches ? Lines{} : Lines{BASE.error(name, mismatch)};
            EXPECT_EQ(logged(), name == "setValue" ? BASE.traced(name, lines) : lines);
        }
    }
}

TEST_F(TelevisionTest, AWriteBeyondTheIntegerRangeIsRefused) {
    tv.publish(KEY, 1);
    ValueAccessT<ObserverNumericInteger> access(KEY);
    EXPECT_EQ(access.setValue(2147483647LL), 0);
    ownLinesOnly = true;
    logged();
    for (std::string const value : {"2147483648", "-2147483649"}) {
        EXPECT_EQ(access.setValue(std::stoll(value)), 6);
        std::string const message = "Value is too large for int32 value:  [" + value + "] ";
        EXPECT_EQ(logged(), BASE.traced("setValue", {BASE.error("setValue", message)}));
    }
    EXPECT_EQ(tv.get(KEY), Value(2147483647));
}

TEST_F(TelevisionTest, AReadConnectsOnDemandWithTheLastBudgetAndTriesAgain) {
    ValueAccessT<ObserverString> access(KEY);
    std::string text;
    auto const expectFailure = [&](std::size_t sleeps) {
        EXPECT_EQ(access.getValue(text), 5);
        EXPECT_EQ(takeSleeps().size(), sleeps);
        EXPECT_EQ(logged(), (Lines{VALUE.error("connect", "Failed 1"),
                                   BASE.error("tryConnectIfNeeded", "BizValue connect failed:'test.key', ret: 5")}));
    };
    tv.publish(KEY, "text"s);
    tv.failReads(KEY, 77);
    tv.failConnects(KEY, {.status = 1, .attempts = 23});
    expectFailure(10);  // The default of 1000 milliseconds.
    expectFailure(10);
    access.connect(0);
    logged();
    expectFailure(0);
    tv.failConnects(KEY, {.attempts = 0});
    EXPECT_EQ(access.getValue(text), 77);  // The model's own status.
    EXPECT_EQ(logged(), Lines{BASE.info("tryConnectIfNeeded", "BizValue connect successfully:'test.key'.")});
}

TEST_F(TelevisionTest, EveryChangeReachesTheHandlerAsAValueOfItsKind) {
    for (Kind const& kind : KINDS) {
        auto const handler = std::make_shared<RecordingHandler>();
        auto access = kind.make(handler);
        tv.publish(KEY, kind.value);
        ASSERT_EQ(access->connect(0), 0);
        auto const linesOf = [&](Value const& value) {
            tv.set(KEY, value);
            tv.waitUntilDelivered();
            return logged();
        };
        EXPECT_EQ(linesOf(kind.changed), VALUE.traced(kind.notification, BASE.traced("onNewValue")));
        EXPECT_EQ(handler->values, Lines{kind.delivered});
        EXPECT_EQ(access->setNewValueHandler(nullptr), 0);
        EXPECT_EQ(logged(), BASE.traced("setNewValueHandler"));
        EXPECT_EQ(linesOf(kind.value), VALUE.traced(kind.notification));  // No value was built.
        access.reset();
        EXPECT_EQ(linesOf(kind.changed), Lines{});
        EXPECT_EQ(handler.use_count(), 1);
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 5);
}

TEST_F(TelevisionTest, ACopyIsAFreshObjectThatSharesNothing) {
    tv.publish(KEY, 1);
    auto const handler = std::make_shared<RecordingHandler>();
    ValueAccessT<ObserverNumericInteger> access(KEY, handler);
    access.connect(200);
    {
        ValueAccessT<ObserverNumericInteger> copy(access);
        EXPECT_EQ(copy.getName(), "");
        EXPECT_EQ(copy.setValue(3), 5);
        EXPECT_EQ(takeSleeps().size(), 10U);
        EXPECT_EQ(handler.use_count(), 2);
    }
    tv.set(KEY, 2);
    tv.waitUntilDelivered();
    EXPECT_EQ(handler->values, Lines{"1 2"});
}

TEST(ValueHandler, ANullObjectOrMemberIgnoresEveryValue) {
    RecordingHandler receiver;
    make_value_handler<RecordingHandler>(nullptr, &RecordingHandler::handleNewValue)->handleNewValue(ValueObject(6));
    make_value_handler<RecordingHandler>(&receiver, nullptr)->handleNewValue(ValueObject(6));
    make_value_handler<ValueHandler>(&receiver, &ValueHandler::handleNewValue)->handleNewValue(ValueObject(5));
    EXPECT_EQ(receiver.values, Lines{"1 5"});
}

TEST(AccessTypeName, NamesTheTypesAndNothingElse) {
    std::string names;
    for (int const type : {-1, 0, 5, 6, 7, 9}) {
        names += ActionAccess(KEY).accessTypeName(static_cast<ObjectTypeSpec>(type)) + " "s;
    }
    EXPECT_EQ(names,
              "OBJECT_TYPE_NONE OBJECT_TYPE_NONE OBJECT_TYPE_ACTION OBJECT_TYPE_TABLE "
              "OBJECT_TYPE_VECTOR_INTEGER OBJECT_TYPE_NONE ");
}

}  // namespace
}  // namespace test
