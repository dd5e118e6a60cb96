// What all access objects have in common, and the values.

#include <climits>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <tuple>

#include "support.h"

namespace test {
namespace {

using namespace objbus;
using simulator::Call;
using simulator::RootLookup;
using AccessPtr = std::unique_ptr<ValueAccessBase>;
using HandlerPtr = std::shared_ptr<ValueHandler>;

template <typename Access>
AccessPtr make() {
    return std::make_unique<Access>(KEY);
}

/// One kind of object, its access and, for a plain-valued one, a value.
struct Kind {
    ObjectTypeSpec type;
    Source source;
    std::string observer;
    AccessPtr (*make)();
    Value value{};
};

Kind const KINDS[] = {
    {OBJECT_TYPE_NUMERIC_INTEGER, VALUE, "ObserverNumericInteger", make<ValueAccessT<ObserverNumericInteger>>, 5},
    {OBJECT_TYPE_NUMERIC_INT64, VALUE, "ObserverNumericInt64", make<ValueAccessT<ObserverNumericInt64>>, 6LL},
    {OBJECT_TYPE_STRING, VALUE, "ObserverString", make<ValueAccessT<ObserverString>>, "old"s},
    {OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, VALUE, "ObserverVectorNumericInteger",
     make<ValueAccessT<ObserverVectorNumericInteger>>, Integers{1, 2}},
    {OBJECT_TYPE_VECTOR_STRING, VALUE, "ObserverVectorString", make<ValueAccessT<ObserverVectorString>>, Strings{"p"}},
    {OBJECT_TYPE_ACTION, ACTION, "ObserverAction", make<ActionAccess>},
    {OBJECT_TYPE_TABLE, TABLE, "", make<TableAccess>},
};
auto const PLAIN_KINDS = std::span(KINDS).first<5>();

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

TEST_P(ConnectTest, OnlyStatusZeroWithAnObjectIsASuccess) {
    tv.publishBare(KEY, GetParam().type);
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
    EXPECT_EQ(access->getType(), GetParam().type);
    access->disconnect();
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

TEST_P(ConnectTest, WithoutARootInterfaceNothingIsWaitedForOrCrashes) {
    tv.publishBare(KEY, GetParam().type);
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

TEST_F(TelevisionTest, AnObjectOfAnotherTypeIsGivenBack) {
    ownLinesOnly = true;
    auto const givenBack = [this] { return tv.counts(KEY).disconnects - tv.counts(KEY).disconnectsWithoutObject; };
    std::string names;
    for (int type = -1; type <= 9; ++type) {
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
              "OBJECT_TYPE_NONE OBJECT_TYPE_NONE OBJECT_TYPE_NUMERIC_INTEGER OBJECT_TYPE_STRING "
              "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER OBJECT_TYPE_VECTOR_STRING OBJECT_TYPE_ACTION OBJECT_TYPE_TABLE "
              "OBJECT_TYPE_VECTOR_INTEGER OBJECT_TYPE_NUMERIC_INT64 OBJECT_TYPE_NONE ");
}

/// A read or write, and for each type that accepts it what the object holds afterwards.
struct Operation {
    std::string name;
    std::function<int(ValueAccessBase&)> call;
    std::map<ObjectTypeSpec, Value> accepted;
    std::string number{};  ///< That is written, if it is one.

    /// The lines of a call, with those of a refusal by the type if there is one.
    [[nodiscard]] Lines lines(std::optional<ObjectTypeSpec> refusing, Lines inside = {}) const {
        if (refusing) {
            bool const large = refusing == OBJECT_TYPE_NUMERIC_INTEGER;
            std::string const mismatch = "Object Type mismatch:  "s + ActionAccess(KEY).accessTypeName(*refusing);
            std::string const tooLarge = "Value is too large for int32 value:  [" + number + "] ";
            std::string const text = number.empty() ? mismatch : large ? tooLarge : "STATUS_ERR_VALUE_TYPE_MISMATCH";
            inside.push_back(BASE.error(name, text));
        }
        return name == "setValue" ? BASE.traced(name, inside) : inside;
    }
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
Operation write(T const& value, std::map<ObjectTypeSpec, Value> const& accepted) {
    auto const call = [=](ValueAccessBase& access) { return access.setValue(value); };
    if constexpr (std::is_integral_v<T>) {
        return {"setValue", call, accepted, std::to_string(value)};
    }
    return {"setValue", call, accepted};
}

Operation const OPERATIONS[] = {
    read(OBJECT_TYPE_NUMERIC_INTEGER, -1, 5),
    read(OBJECT_TYPE_NUMERIC_INT64, -1LL, 6LL),
    read(OBJECT_TYPE_STRING, "before"s, "old"s),
    read(OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, Integers{9}, Integers{1, 2}),
    read(OBJECT_TYPE_VECTOR_STRING, Strings{"z"}, Strings{"p"}),
    write(-1, {{OBJECT_TYPE_NUMERIC_INTEGER, -1}, {OBJECT_TYPE_NUMERIC_INT64, -1LL}}),
    write(-2147483648LL, {{OBJECT_TYPE_NUMERIC_INTEGER, INT_MIN}, {OBJECT_TYPE_NUMERIC_INT64, -2147483648LL}}),
    write(2147483647LL, {{OBJECT_TYPE_NUMERIC_INTEGER, INT_MAX}, {OBJECT_TYPE_NUMERIC_INT64, 2147483647LL}}),
    write(-2147483649LL, {{OBJECT_TYPE_NUMERIC_INT64, -2147483649LL}}),
    write(2147483648LL, {{OBJECT_TYPE_NUMERIC_INT64, 2147483648LL}}),
    write("new"s, {{OBJECT_TYPE_STRING, "new"s}}),
    write(Integers{7, 8, 9}, {{OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, Integers{7, 8, 9}}}),
    write(Strings{}, {{OBJECT_TYPE_VECTOR_STRING, Strings{}}}),
};

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
        for (Kind const& kind : PLAIN_KINDS) {
            SCOPED_TRACE(operation.name + operation.number + " of type " + std::to_string(kind.type));
            tv.publish(KEY, kind.value);
            auto const access = kind.make();
            ASSERT_EQ(access->connect(0), 0);
            bool const accepted = operation.accepted.contains(kind.type);
            auto const before = tv.counts(KEY);
            EXPECT_EQ(operation.call(*access), accepted ? 0 : 6);
            auto const after = tv.counts(KEY);
            EXPECT_EQ(after.reads + after.writes - before.reads - before.writes, accepted ? 1 : 0);
            EXPECT_EQ(after.typeQueries - before.typeQueries, accepted || !operation.number.empty() ? 1 : 2);
            EXPECT_EQ(tv.get(KEY), accepted ? operation.accepted.at(kind.type) : kind.value);
            EXPECT_EQ(logged(), operation.lines(accepted ? std::nullopt : std::optional(kind.type)));
        }
    }
}

TEST_F(TelevisionTest, AReadConnectsOnDemandWithTheLastBudgetAndTriesAgain) {
    ValueAccessT<ObserverString> access(KEY);
    std::string text;
    tv.publish(KEY, "text"s);
    tv.failReads(KEY, 77);
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

TEST_F(TelevisionTest, AConnectThatBreaksOffLeavesNoRegistration) {
    ValueAccessT<ObserverString> value(KEY);
    ActionAccess action(KEY);
    std::optional<IteratorAccess> iterator;
    iterator.emplace(KEY, nullptr, IteratorType{}, std::vector<TableSelection>(), Integers(),
                     std::vector<TableOrder>());
    tv.publishTable(KEY, {});
    tv.throwFrom(KEY, Call::type);
    EXPECT_THROW(value.connect(0), std::bad_alloc);
    EXPECT_THROW(action.connect(0), std::bad_alloc);
    EXPECT_THROW(iterator->create(), std::bad_alloc);
    EXPECT_EQ(tv.registrations(KEY), 0);

    beforeOwnLine = [] { throw std::bad_alloc(); };  // At the line of a mismatch, and then at the model, too.
    for (Call const call : {Call::none, Call::disconnect}) {
        tv.throwFrom(KEY, call);
        EXPECT_THROW(value.connect(0), std::bad_alloc);
        EXPECT_THROW(action.connect(0), std::bad_alloc);
        EXPECT_EQ(tv.registrations(KEY), call == Call::none ? 0 : 2);
    }
    tv.publishTable(KEY, {});
    tv.throwFrom(KEY, Call::createIterator);
    EXPECT_THROW(iterator->create(), std::bad_alloc);
    EXPECT_EQ(iterator->getIterator(), nullptr);
    EXPECT_EQ(tv.registrations(KEY), 2);
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
