// What all access objects have in common, and the values.

#include <tuple>

#include "kinds.h"

namespace test {
namespace {

using HandlerPtr = std::shared_ptr<ValueHandler>;

class ConnectTest : public TelevisionTest, public ::testing::WithParamInterface<Kind> {
public:
    static std::string failed(int status) {
        return GetParam().source.error("connect", "Failed " + std::to_string(status));
    }

    AccessPtr access = GetParam().make();
};

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectTest, ::testing::ValuesIn(KINDS));

TEST_P(ConnectTest, TheBudgetDecidesAttemptsAndSleeps) {
    tv.failConnects(KEY, {.status = 33});
    for (auto const& [budgetMs, attempts, sleeps] : std::vector<std::tuple<int, int, std::size_t>>{
             {-5, 1, 0}, {0, 1, 0}, {1, 1, 1}, {101, 2, 2}, {1000, 10, 10}}) {
        int const before = tv.counts(KEY).connectAttempts;
        EXPECT_EQ(access->connect(budgetMs), 5);
        EXPECT_EQ(tv.counts(KEY).connectAttempts - before, attempts) << budgetMs;
        EXPECT_EQ(takeSleeps(), std::vector<unsigned int>(sleeps, 100000)) << budgetMs;
        EXPECT_EQ(logged(), Lines{failed(33)});
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
}

TEST_P(ConnectTest, AConnectedObjectIsNotAskedForAgainButKeepsTheNewBudget) {
    EXPECT_EQ(access->disconnect(), 0);  // Reaches the model without an object, too.
    EXPECT_EQ(tv.counts(KEY).disconnectsWithoutObject, 1);
    tv.publishBare(KEY, GetParam().type);
    EXPECT_EQ(access->connect(0), 0);
    EXPECT_EQ(access->connect(250), 0);
    EXPECT_EQ(tv.counts(KEY).connectAttempts, 1);
    EXPECT_EQ(tv.counts(KEY).typeQueries, GetParam().type == OBJECT_TYPE_TABLE ? 0 : 1);
    EXPECT_EQ(access->disconnect(), 0);
    EXPECT_EQ(tv.counts(KEY).disconnects, 2);
    EXPECT_EQ(tv.lookups(), 3);  // Each looked up anew.
    tv.withdraw(KEY);
    EXPECT_EQ(access->setValue(1), 5);
    EXPECT_EQ(takeSleeps().size(), 3U);
}

TEST_F(TelevisionTest, AnObjectOfAnotherTypeIsGivenBack) {
    ownLinesOnly = true;
    auto const givenBack = [this] { return tv.counts(KEY).disconnects - tv.counts(KEY).disconnectsWithoutObject; };
    std::string names;
    for (int const type : TYPES) {
        names += ActionAccess(KEY).accessTypeName(static_cast<ObjectTypeSpec>(type)) + " "s;
        tv.publishBare(KEY, static_cast<ObjectTypeSpec>(type));
        logged();
        for (Kind const& kind : KINDS) {
            bool const accepted = kind.type == type || kind.type == OBJECT_TYPE_TABLE;  // A table access takes all.
            auto const access = kind.make();
            int const before = givenBack();
            EXPECT_EQ(access->connect(0), accepted ? 0 : 6);
            std::string const mismatch = "test.key,( " + std::to_string(type) + " ) vs " + kind.observer + " ";
            Lines const refusal{kind.source.error("connect", "Observer Type not match for " + mismatch)};
            EXPECT_EQ(logged(), accepted ? Lines{} : refusal);
            EXPECT_EQ(givenBack() - before, accepted ? 0 : 1);
            access->disconnect();
        }
        // A table's iterator is refused by what says that it is something else.
        bool const refused = type >= 1 && type <= 8 && type != OBJECT_TYPE_TABLE;
        IteratorAccess iterator(KEY, nullptr, {}, {}, {}, {});
        EXPECT_EQ(iterator.create(), refused ? 4 : 0);
        EXPECT_EQ(iterator.getIterator() == nullptr, refused);
        iterator.destroy();
        EXPECT_EQ(tv.registrations(KEY), refused ? 0 : 1);
        Lines const refusal{ITERATOR.error("create", "Error connect name : test.key,  status: 6")};
        EXPECT_EQ(logged(), refused ? refusal : Lines{});
    }
    EXPECT_EQ(names,
              "OBJECT_TYPE_NONE OBJECT_TYPE_NONE OBJECT_TYPE_NONE OBJECT_TYPE_NUMERIC_INTEGER OBJECT_TYPE_STRING "
              "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER OBJECT_TYPE_VECTOR_STRING OBJECT_TYPE_ACTION OBJECT_TYPE_TABLE "
              "OBJECT_TYPE_VECTOR_INTEGER OBJECT_TYPE_NUMERIC_INT64 OBJECT_TYPE_NONE OBJECT_TYPE_NONE "
              "OBJECT_TYPE_NONE ");
}

TEST_F(TelevisionTest, EveryReadAndWriteAcceptsItsTypesAndLeavesTheOthersAlone) {
    ownLinesOnly = true;
    IteratorAccess withoutObject(KEY, nullptr, {}, {}, {}, {});
    for (Operation const& operation : OPERATIONS) {
        EXPECT_EQ(operation.call(withoutObject), 6);
        Lines lines{BASE.info("tryConnectIfNeeded", "BizValue connect successfully:'test.key'.")};
        if (operation.number.empty()) {
            lines.push_back(BASE.error("getType", "Unknown Type since value is not connected  : test.key."));
        }
        EXPECT_EQ(logged(), operation.lines(OBJECT_TYPE_NONE, lines));
        for (int const number : TYPES) {
            SCOPED_TRACE(operation.name + operation.number + " of type " + std::to_string(number));
            auto const type = static_cast<ObjectTypeSpec>(number);
            tv.publishBare(KEY, type);
            for (Kind const& kind : KINDS) {
                kind.type == type ? tv.set(KEY, kind.value) : false;
            }
            TableAccess access(KEY);  // Connects to whatever there is.
            ASSERT_EQ(access.connect(0), 0);
            bool const accepted = operation.accepted.contains(type);
            auto const value = tv.get(KEY);
            auto const before = tv.counts(KEY);
            EXPECT_EQ(operation.call(access), accepted ? 0 : 6);
            auto const after = tv.counts(KEY);
            EXPECT_EQ(after.reads + after.writes - before.reads - before.writes, accepted ? 1 : 0);
            EXPECT_EQ(after.typeQueries - before.typeQueries, accepted || !operation.number.empty() ? 1 : 2);
            EXPECT_EQ(tv.get(KEY), accepted ? operation.accepted.at(type) : value);
            EXPECT_EQ(logged(), operation.lines(accepted ? std::nullopt : std::optional(type)));
            access.disconnect();
        }
    }
}

TEST_F(TelevisionTest, AReadConnectsOnDemandWithTheLastBudgetAndTriesAgain) {
    ValueAccessT<ObserverString> access(KEY);
    std::string text;
    tv.publish(KEY, "text"s);
    tv.failReads(KEY, {77});
    tv.failConnects(KEY, {.status = 1, .attempts = 23});
    for (std::size_t const sleeps : {10U, 10U, 0U}) {  // The default of 1000 milliseconds, twice, and the given one.
        if (sleeps == 0) {
            access.connect(0);
            logged();
        }
        EXPECT_EQ(access.getValue(text), 5);
        EXPECT_EQ(takeSleeps().size(), sleeps);
        EXPECT_EQ(logged(), (Lines{VALUE.error("connect", "Failed 1"),
                                   BASE.error("tryConnectIfNeeded", "BizValue connect failed:'test.key', ret: 5")}));
    }
    tv.failConnects(KEY, {.attempts = 0});
    EXPECT_EQ(access.getValue(text), 77);  // The model's own status.
    EXPECT_EQ(logged(), Lines{BASE.info("tryConnectIfNeeded", "BizValue connect successfully:'test.key'.")});
    int const lookups = tv.lookups();
    EXPECT_EQ(ValueAccessT<ObserverString>("missing").getValue(text), 8);  // A key that is never asked for.
    EXPECT_EQ(logged(), (Lines{VALUE.error("connect", "Value is 'missing'."),
                               BASE.error("tryConnectIfNeeded", "BizValue connect failed:'missing', ret: 8")}));
    EXPECT_EQ(tv.lookups(), lookups);
}

TEST_F(TelevisionTest, EveryInstanceTracesAndDeliversEveryNotification) {
    std::string const name = "notifyNewValue";
    Lines const names{name, name, name, "notifyIntegerVector", "notifyStringVector"};
    Lines const values{"1 -2", "3 7", "8 a\0b"s, "9 [3,-4]", "9 [p,]"};
    auto const expectAll = [&](auto&& access, std::size_t own, Value const& changed) {
        auto const handler = std::make_shared<RecordingHandler>();
        tv.publish(KEY, changed);
        for (auto const& receiver : {HandlerPtr(handler), HandlerPtr()}) {
            EXPECT_EQ(access.setNewValueHandler(receiver), 0);
            EXPECT_EQ(access.connect(0), 0);
            tv.set(KEY, changed);
            tv.waitUntilDelivered();
            access.notifyNewValue(-2);
            access.notifyNewValue(7LL);
            access.notifyNewValue("a\0b"s);
            access.notifyIntegerVector({3, -4});
            access.notifyStringVector({"p", ""});
            Lines const inside = receiver ? BASE.traced("onNewValue") : Lines{};
            Lines lines = BASE.traced("setNewValueHandler") + VALUE.traced(names[own], inside);
            for (std::string const& each : names) {
                lines = lines + VALUE.traced(each, inside);
            }
            EXPECT_EQ(logged(), lines);
        }
        EXPECT_EQ(handler->values, Lines{values[own]} + values);
    };
    expectAll(ValueAccessT<ObserverNumericInteger>(KEY), 0, -2);
    expectAll(ValueAccessT<ObserverNumericInt64>(KEY), 1, 7LL);
    expectAll(ValueAccessT<ObserverString>(KEY), 2, "a\0b"s);
    expectAll(ValueAccessT<ObserverVectorNumericInteger>(KEY), 3, Integers{3, -4});
    expectAll(ValueAccessT<ObserverVectorString>(KEY), 4, Strings{"p", ""});
    EXPECT_EQ(tv.counts(KEY).disconnects, 5);
}

TEST_F(TelevisionTest, ACopySharesNothingAndANullHandlerHearsNothing) {
    tv.publish(KEY, 1);
    auto const handler = std::make_shared<RecordingHandler>();
    ValueAccessT<ObserverNumericInteger> access(KEY, handler);
    access.connect(200);
    auto copy = std::make_unique<ValueAccessT<ObserverNumericInteger>>(access);
    EXPECT_EQ(copy->getName(), "");
    EXPECT_EQ(copy->setValue(3), 5);
    EXPECT_EQ(takeSleeps().size(), 10U);
    EXPECT_EQ(handler.use_count(), 2);
    copy.reset();
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
    make_value_handler<RecordingHandler>(nullptr, &RecordingHandler::handleNewValue)->handleNewValue(ValueObject(6));
    make_value_handler<RecordingHandler>(handler.get(), nullptr)->handleNewValue(ValueObject(6));
    make_value_handler<ValueHandler>(handler.get(), &ValueHandler::handleNewValue)->handleNewValue(ValueObject(5));
    EXPECT_EQ(handler->values, Lines{"1 5"});
}

}  // namespace
}  // namespace test
