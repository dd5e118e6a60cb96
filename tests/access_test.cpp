// What all access objects have in common, in front of a model that does what it should and what it should not. Whatever
// it does, each operation ends with a status or lets the model's own exception through, the access object can be used
// again, and no registration is left that the model could be told of.

#include <climits>
#include <functional>
#include <map>
#include <optional>
#include <tuple>

#include "support.h"

namespace test {
namespace {

using namespace objbus;
using simulator::Call;
using simulator::RootLookup;
using AccessPtr = std::unique_ptr<ValueAccessBase>;

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

/// The types that there are, and some that there are not.
int const TYPES[] = {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255, INT_MAX};

std::string nameOf(int type) {
    Strings const names{"NUMERIC_INTEGER", "STRING", "VECTOR_NUMERIC_INTEGER", "VECTOR_STRING",
                        "ACTION",          "TABLE",  "VECTOR_INTEGER",         "NUMERIC_INT64"};
    return "OBJECT_TYPE_" + (type < 1 || type > 8 ? "NONE" : names[static_cast<std::size_t>(type) - 1]);
}

/// A read or write, and for each type that accepts it what the object holds afterwards.
struct Operation {
    Call what;
    std::string name;
    std::function<int(ValueAccessBase&)> call;
    std::map<ObjectTypeSpec, Value> accepted;
    std::string number{};  ///< That is written, if it is one.

    /// The lines of a call, with those of a refusal by the type if there is one.
    [[nodiscard]] Lines lines(std::optional<ObjectTypeSpec> refusing, Lines inside = {}) const {
        if (refusing) {
            bool const large = refusing == OBJECT_TYPE_NUMERIC_INTEGER;
            std::string const mismatch = "Object Type mismatch:  " + nameOf(*refusing);
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
    return {Call::read, "getValue", call, {{type, inModel}}};
}

template <typename T>
Operation write(T const& value, std::map<ObjectTypeSpec, Value> const& accepted) {
    auto const call = [=](ValueAccessBase& access) { return access.setValue(value); };
    if constexpr (std::is_integral_v<T>) {
        return {Call::write, "setValue", call, accepted, std::to_string(value)};
    }
    return {Call::write, "setValue", call, accepted};
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

/// The outcome of an operation that the model's exception left.
constexpr int THROWS = INT_MAX - 1;

int outcome(std::function<int()> const& operation) {
    try {
        return operation();
    } catch (std::bad_alloc const&) {
        return THROWS;
    }
}

/// What the model does, and what comes of it.
struct Fault {
    std::optional<int> type = {};  ///< Of the object; of the kind that is wanted, if empty.
    RootLookup root = RootLookup::published;
    simulator::ConnectFault unavailable = {.status = 0, .attempts = 0};
    int status = 0;  ///< Of the reads of strings and lists, and of `invoke`.
    Call throws = Call::none;

    int connect = 0;  ///< The outcome of a connect
    int failed = 0;   ///< and the number in its line.
    int left = 0;     ///< The registrations that a disconnect leaves.

    /// The outcome of another operation.
    [[nodiscard]] int of(Call call) const {
        bool const asksForType = call == Call::read || call == Call::write || call == Call::createIterator;
        bool const hasStatus = call == Call::read || call == Call::invoke;
        return call == throws || (asksForType && throws == Call::type) ? THROWS : hasStatus ? status : 0;
    }
};

std::vector<Fault> faults() {
    std::vector<Fault> faults{
        {},
        {.root = RootLookup::refused, .connect = 5, .failed = 5, .left = 1},
        {.root = RootLookup::emptyReference, .connect = 5, .failed = 5, .left = 1},
        {.root = RootLookup::nullObject, .connect = 5, .failed = 5, .left = 1},
        {.unavailable = {0, false}, .connect = 5, .failed = 0},
        {.unavailable = {1, true}, .connect = 5, .failed = 1},
        {.unavailable = {-1, false}, .connect = 5, .failed = -1},
        {.unavailable = {INT_MIN, true}, .connect = 5, .failed = INT_MIN},
        {.unavailable = {INT_MAX, false}, .connect = 5, .failed = INT_MAX},
        {.throws = Call::connect, .connect = THROWS},
        {.throws = Call::type, .connect = THROWS},
        {.throws = Call::disconnect, .left = 1},
    };
    for (int const number : {INT_MIN, -1, 1, INT_MAX}) {
        faults.push_back({.status = number});
    }
    for (Call const call : {Call::read, Call::write, Call::invoke, Call::createIterator, Call::destroyIterator}) {
        faults.push_back({.throws = call});
    }
    for (int const type : TYPES) {
        faults.push_back({.type = type, .connect = 6});
    }
    return faults;
}

class AccessTest : public TelevisionTest {
public:
    AccessTest() { ownLinesOnly = true; }

    /// An object with the value of the kind of that type, if there is one.
    void publish(int type) {
        tv.publishBare(KEY, static_cast<ObjectTypeSpec>(type));
        for (Kind const& kind : KINDS) {
            kind.type == type ? tv.set(KEY, kind.value) : false;
        }
    }
    void begin(Fault const& fault) {
        tv.setRootLookup(fault.root);
        tv.failConnects(KEY, fault.unavailable);
        tv.failReads(KEY, {fault.status});
        tv.failInvokes(KEY, fault.status);
        tv.throwFrom(KEY, fault.throws);
        logged();
        takeSleeps();
    }
    void heal() { begin({}); }
    void expectLines(Lines const& lines) { EXPECT_EQ(logged(), silent ? Lines{} : lines); }
    void expectFault(Fault const& fault, Kind const& kind);
};

void AccessTest::expectFault(Fault const& fault, Kind const& kind) {
    auto const access = kind.make();
    auto const connect = [&] { return access->connect(0); };
    int const published = fault.type.value_or(kind.type);
    bool const anyType = kind.type == OBJECT_TYPE_TABLE;  // A table's access takes every object, and does not ask.
    bool const accepted = anyType ? fault.connect == 6 || fault.throws == Call::type : fault.type == kind.type;
    int const connected = accepted ? 0 : fault.connect;
    auto const type = static_cast<ObjectTypeSpec>(anyType ? published : kind.type);
    publish(published);
    begin(fault);
    testing::internal::CaptureStdout();
    EXPECT_EQ(outcome(connect), connected);
    bool const refused = fault.root == RootLookup::refused || fault.root == RootLookup::emptyReference;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), refused ? "get interface Reference failed.\n" : "");
    std::string const vs = "test.key,( " + std::to_string(published) + " ) vs " + kind.observer + " ";
    std::string const mismatch = kind.source.error("connect", "Observer Type not match for " + vs);
    std::string const failed = kind.source.error("connect", "Failed " + std::to_string(fault.failed));
    Lines const lines = connected == 5 ? Lines{failed} : connected == 6 ? Lines{mismatch} : Lines{};
    expectLines(lines);
    if (connected != 0) {
        std::string const onDemand = "BizValue connect failed:'test.key', ret: " + std::to_string(connected);
        for (Operation const& operation : OPERATIONS) {
            EXPECT_EQ(outcome([&] { return operation.call(*access); }), connected);
            Lines const both = lines + Lines{BASE.error("tryConnectIfNeeded", onDemand)};
            expectLines(operation.lines({}, connected == THROWS ? lines : both));
        }
        EXPECT_EQ(tv.registrations(KEY), 0);
        publish(type);
        heal();
        EXPECT_EQ(outcome(connect), 0);
        begin(fault);
    }
    auto const before = tv.counts(KEY);
    EXPECT_EQ(access->connect(250), 0);  // Is not asked for again, but keeps the new budget.
    EXPECT_EQ(tv.counts(KEY).connectAttempts, before.connectAttempts);
    for (Operation const& operation : OPERATIONS) {
        bool const fits = operation.accepted.contains(type);
        bool const number = operation.what == Call::read && (type == 1 || type == 8);  // Is read without a status.
        int const fitting = number && fault.status != 0 ? 0 : fault.of(operation.what);
        int const expected = fault.throws == Call::type ? THROWS : fits ? fitting : 6;
        auto const value = tv.get(KEY);
        EXPECT_EQ(outcome([&] { return operation.call(*access); }), expected);
        EXPECT_EQ(tv.get(KEY), fits && expected == 0 ? operation.accepted.at(type) : value);
        expectLines(operation.lines(expected == 6 ? std::optional(type) : std::nullopt));
        value ? tv.set(KEY, *value) : false;
    }
    if (auto* const action = dynamic_cast<ActionAccess*>(access.get())) {
        unsigned int id = 0;
        EXPECT_EQ(outcome([&] { return action->invoke(id, {}); }), fault.of(Call::invoke));
    }
    EXPECT_EQ(tv.registrations(KEY), 1);
    EXPECT_EQ(outcome([&] { return access->disconnect(); }), fault.of(Call::disconnect));
    EXPECT_EQ(tv.registrations(KEY), fault.left);
    heal();
    EXPECT_EQ(access->disconnect(), 0);  // Reaches the model without an object, too.
    int const withoutObject = tv.counts(KEY).disconnectsWithoutObject - before.disconnectsWithoutObject;
    EXPECT_EQ(withoutObject, fault.throws == Call::disconnect ? 0 : 1);
    EXPECT_EQ(tv.registrations(KEY), 0);
    tv.withdraw(KEY);
    EXPECT_EQ(access->setValue(1), 5);
    EXPECT_EQ(takeSleeps().size(), 3U);
}

TEST_F(AccessTest, EveryOperationEndsAndNothingIsLeftBehind) {
    for (bool const refused : {false, true}) {
        silent = refused;
        tv.notifyEarly(KEY, refused);
        for (int row = 0; Fault const& fault : faults()) {
            for (Kind const& kind : KINDS) {
                SCOPED_TRACE("fault " + std::to_string(row) + ", type " + std::to_string(kind.type));
                expectFault(fault, kind);
            }
            ++row;
        }
    }
}

TEST_F(AccessTest, AnIteratorIsMadeAgainWhateverBecameOfTheFirst) {
    for (int row = 0; Fault const& fault : faults()) {
        SCOPED_TRACE("fault " + std::to_string(row++));
        int const type = fault.type.value_or(OBJECT_TYPE_TABLE);
        bool const table = type < 1 || type > 8 || type == OBJECT_TYPE_TABLE;  // Or an object that does not tell.
        publish(type);
        int const before = tv.registrations(KEY);
        auto access = std::make_unique<IteratorAccess>(KEY, nullptr, IteratorType{}, std::vector<TableSelection>(),
                                                       Integers(), std::vector<TableOrder>());
        for (Operation const& operation : OPERATIONS) {
            EXPECT_EQ(operation.call(*access), 6);  // Has no object of its own.
            Lines lines{BASE.info("tryConnectIfNeeded", "BizValue connect successfully:'test.key'.")};
            if (operation.number.empty()) {
                lines.push_back(BASE.error("getType", "Unknown Type since value is not connected  : test.key."));
            }
            expectLines(operation.lines(OBJECT_TYPE_NONE, lines));
        }
        auto const create = [&] { return access->create(); };
        auto const destroy = [&] { return access->destroy(); };
        begin(fault);
        bool const refused = fault.connect == 5 || !table;
        int const created = refused ? 4 : fault.connect == THROWS ? THROWS : fault.of(Call::createIterator);
        EXPECT_EQ(outcome(create), created);
        EXPECT_EQ(takeSleeps().size(), fault.connect == 5 && fault.root == RootLookup::published ? 10U : 0U);
        EXPECT_EQ(access->getIterator() != nullptr, created == 0);
        Lines const failed{TABLE.error("connect", "Failed " + std::to_string(fault.failed))};
        Lines const error{
            ITERATOR.error("create", "Error connect name : test.key,  status: " + std::to_string(fault.connect))};
        EXPECT_EQ(logged(), !refused ? Lines{} : table ? failed + error : error);
        publish(OBJECT_TYPE_TABLE);
        heal();
        EXPECT_EQ(outcome(create), 0);
        begin(fault);
        publish(type);
        int const again = outcome(create);
        EXPECT_EQ(again, created == 0 ? fault.of(Call::destroyIterator) : created);
        // Once the new table is there, the old iterator goes, and a new one may not come.
        EXPECT_EQ(access->getIterator() == nullptr, fault.throws == Call::createIterator);
        EXPECT_EQ(outcome(destroy), fault.of(Call::destroyIterator));
        heal();
        EXPECT_EQ(outcome(destroy), 0);
        begin(fault);
        access.reset();
        EXPECT_EQ(tv.registrations(KEY) - before, fault.left * (again == 0 ? 2 : 1));
        heal();
    }
    EXPECT_EQ(tv.counts(KEY).disconnectsWithoutObject, 0);  // What never connected is not disconnected.
}

TEST_F(AccessTest, TheBudgetDecidesAttemptsAndSleeps) {
    for (Kind const& kind : KINDS) {
        auto const access = kind.make();
        for (auto const& [budgetMs, attempts, sleeps] : std::vector<std::tuple<int, int, std::size_t>>{
                 {INT_MIN, 1, 0}, {0, 1, 0}, {1, 1, 1}, {101, 2, 2}, {1000, 10, 10}}) {
            int const before = tv.counts(KEY).connectAttempts;
            EXPECT_EQ(access->connect(budgetMs), 5);
            EXPECT_EQ(tv.counts(KEY).connectAttempts - before, attempts) << budgetMs;
            EXPECT_EQ(takeSleeps(), std::vector<unsigned int>(sleeps, 100000)) << budgetMs;
        }
    }
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
}

TEST_F(AccessTest, ALogThatThrowsLeavesNoRegistration) {
    ValueAccessT<ObserverString> value(KEY);
    ActionAccess action(KEY);
    tv.publishTable(KEY, {});
    beforeOwnLine = [] { throw std::bad_alloc(); };  // At the line of a mismatch, and then the model throws, too.
    for (Call const call : {Call::none, Call::disconnect}) {
        tv.throwFrom(KEY, call);
        EXPECT_EQ(outcome([&] { return value.connect(0); }), THROWS);
        EXPECT_EQ(outcome([&] { return action.connect(0); }), THROWS);
        EXPECT_EQ(tv.registrations(KEY), call == Call::none ? 0 : 2);
    }
}

TEST_F(AccessTest, AnObjectMayComeLateAndNotifyEarly) {
    auto const handler = std::make_shared<RecordingHandler>();
    ValueAccessT<ObserverVectorString> access(KEY, handler);
    tv.publish(KEY, Strings{"early"});
    tv.failConnects(KEY, {.status = 3, .attempts = 2});
    tv.notifyEarly(KEY, true);
    EXPECT_EQ(access.connect(1000), 0);
    EXPECT_EQ(takeSleeps().size(), 2U);
    EXPECT_EQ(handler->values, Lines{"9 [early]"});
}

TEST_F(AccessTest, WhatAFailedReadLeavesIsPassedOnWithItsStatus) {
    auto const expectHalf = [this](auto const& whole, auto const& half) {
        tv.publish(KEY, whole);
        TableAccess access(KEY);  // Reads whatever it is connected to.
        for (int const status : {-4, 0, 4}) {
            tv.failReads(KEY, {status, true});
            auto out = whole;
            EXPECT_EQ(access.connect(0), 0);
            EXPECT_EQ(access.getValue(out), status);
            EXPECT_EQ(out, half);
        }
        access.disconnect();
    };
    expectHalf("a\0b\xff"s, "a\0"s);
    expectHalf(Integers{1, 2, 3}, Integers{1});
    expectHalf(Strings{"%s", ""}, Strings{"%s"});
}

}  // namespace
}  // namespace test
