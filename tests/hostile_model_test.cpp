// A model that does what it should not. Whatever it does, each operation ends with a status or lets the model's own
// exception through, the access object can be used again, and no registration is left that the model could be told of.

#include "kinds.h"

namespace test {
namespace {

using simulator::RootLookup;
using simulator::Television;

/// The outcome of an operation that the model's exception left.
constexpr int THROWS = INT_MAX - 1;

int outcome(std::function<int()> const& operation) {
    try {
        return operation();
    } catch (std::bad_alloc const&) {
        return THROWS;
    }
}

struct Fault {
    std::string name;
    std::function<void(Television&)> begin;
    int connect = 0;                  ///< The outcome of a connect
    std::string line{};               ///< and its line.
    std::map<Call, int> others = {};  ///< The outcomes of other calls, where it is not 0.
    int left = 0;                     ///< The registrations that a disconnect leaves.
    std::string printed{};            ///< To standard output, by each lookup of the root interface.

    [[nodiscard]] int of(Call call) const { return others.contains(call) ? others.at(call) : 0; }
};

Fault root(RootLookup answer, std::string const& printed) {
    return {"root", [=](Television& tv) { tv.setRootLookup(answer); }, 5, "Failed 5", {}, 1, printed};
}

Fault unavailable(int status, bool handsOutObject) {
    auto const begin = [=](Television& tv) { tv.failConnects(KEY, {status, handsOutObject}); };
    return {"connects fail", begin, 5, "Failed " + std::to_string(status)};
}

Fault throwing(Call call, std::map<Call, int> others, int connect = 0, int left = 0) {
    others[call] = THROWS;
    auto const begin = [=](Television& tv) { tv.throwFrom(KEY, call); };
    return {"call " + std::to_string(static_cast<int>(call)) + " throws", begin, connect, "", std::move(others), left};
}

/// Of the reads of strings and lists, and of `invoke`.
Fault failing(int status) {
    auto const begin = [=](Television& tv) {
        tv.failReads(KEY, {status});
        tv.failInvokes(KEY, status);
    };
    return {"status " + std::to_string(status), begin, 0, "", {{Call::read, status}, {Call::invoke, status}}};
}

Fault const FAULTS[] = {
    {"none", [](Television& /*tv*/) {}},
    root(RootLookup::refused, "get interface Reference failed.\n"),
    root(RootLookup::emptyReference, "get interface Reference failed.\n"),
    root(RootLookup::nullObject, ""),
    unavailable(0, false),
    unavailable(1, true),
    unavailable(INT_MIN, true),
    unavailable(-1, false),
    unavailable(INT_MAX, false),
    failing(INT_MIN),
    failing(-1),
    failing(1),
    failing(INT_MAX),
    throwing(Call::connect, {}, THROWS),
    throwing(Call::type, {{Call::read, THROWS}, {Call::write, THROWS}, {Call::createIterator, THROWS}}, THROWS),
    throwing(Call::read, {}),
    throwing(Call::write, {}),
    throwing(Call::invoke, {}),
    throwing(Call::createIterator, {}),
    throwing(Call::destroyIterator, {}),
    throwing(Call::disconnect, {}, 0, 1),
};

class HostileModelTest : public TelevisionTest {
public:
    void heal() {
        tv.setRootLookup(RootLookup::published);
        tv.failConnects(KEY, {.attempts = 0});
        failing(0).begin(tv);
        tv.throwFrom(KEY, Call::none);
        logged();
    }

    void publish(Kind const& kind) {
        tv.publishBare(KEY, kind.type);
        tv.set(KEY, kind.value);
    }
};

/// What can be done with a connected object of the kind.
std::vector<Operation> operationsOn(Kind const& kind) {
    std::vector<Operation> operations;
    std::copy_if(std::begin(OPERATIONS), std::end(OPERATIONS), std::back_inserter(operations),
                 [&](Operation const& operation) { return operation.accepted.contains(kind.type); });
    if (kind.type == OBJECT_TYPE_ACTION) {
        auto const invoke = [](ValueAccessBase& access) {
            unsigned int id = 0;
            return static_cast<ActionAccess&>(access).invoke(id, {});
        };
        operations.push_back({Call::invoke, "invoke", invoke, {}});
    }
    return operations;
}

TEST_F(HostileModelTest, EveryOperationEndsAndNothingIsLeftBehind) {
    ownLinesOnly = true;
    auto const expectLines = [this](Lines const& lines) { EXPECT_EQ(logged(), silent ? Lines{} : lines); };
    auto const expectFault = [&](Fault const& fault, Kind const& kind) {
        auto const access = kind.make();
        auto const connect = [&] { return access->connect(0); };
        bool const number = kind.type == OBJECT_TYPE_NUMERIC_INTEGER || kind.type == OBJECT_TYPE_NUMERIC_INT64;
        bool const table = kind.type == OBJECT_TYPE_TABLE;  // Is not asked for its type.
        int const connected = table && fault.of(Call::type) == THROWS ? 0 : fault.connect;
        publish(kind);
        fault.begin(tv);
        testing::internal::CaptureStdout();
        EXPECT_EQ(outcome(connect), connected);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), fault.printed);
        Lines const lines = fault.line.empty() ? Lines{} : Lines{kind.source.error("connect", fault.line)};
        expectLines(lines);
        if (connected != 0) {
            std::string const failed = "BizValue connect failed:'test.key', ret: " + std::to_string(connected);
            Lines const onDemand = lines.empty() ? lines : lines + Lines{BASE.error("tryConnectIfNeeded", failed)};
            for (Operation const& operation : OPERATIONS) {
                EXPECT_EQ(outcome([&] { return operation.call(*access); }), connected);
                expectLines(operation.lines({}, onDemand));
            }
            EXPECT_EQ(tv.registrations(KEY), 0);
            heal();
            EXPECT_EQ(outcome(connect), 0);
            fault.begin(tv);
        }
        EXPECT_EQ(tv.registrations(KEY), 1);
        for (Operation const& operation : operationsOn(kind)) {
            int const expected = fault.of(operation.what);
            bool const noStatus = operation.what == Call::read && number && expected != THROWS;
            EXPECT_EQ(outcome([&] { return operation.call(*access); }), noStatus ? 0 : expected);
            expectLines(operation.lines({}));
        }
        EXPECT_EQ(outcome([&] { return access->disconnect(); }), fault.of(Call::disconnect));
        EXPECT_EQ(tv.registrations(KEY), fault.left);
        heal();
        access->disconnect();
        EXPECT_EQ(tv.registrations(KEY), 0);
    };
    for (bool const refused : {false, true}) {
        silent = refused;
        for (Fault const& fault : FAULTS) {
            for (Kind const& kind : KINDS) {
                SCOPED_TRACE(fault.name + ": " + fault.line + ", type " + std::to_string(kind.type));
                expectFault(fault, kind);
            }
        }
    }
}

TEST_F(HostileModelTest, AnIteratorIsMadeAgainWhateverBecameOfTheFirst) {
    ownLinesOnly = true;
    for (Fault const& fault : FAULTS) {
        SCOPED_TRACE(fault.name + ": " + fault.line);
        tv.publishTable(KEY, {});
        int const before = tv.registrations(KEY);
        auto access = std::make_unique<IteratorAccess>(KEY, nullptr, IteratorType{}, std::vector<TableSelection>(),
                                                       Integers(), std::vector<TableOrder>());
        auto const create = [&] { return access->create(); };
        auto const destroy = [&] { return access->destroy(); };
        fault.begin(tv);
        int const created = fault.connect == 0 ? fault.of(Call::createIterator) : fault.connect == 5 ? 4 : THROWS;
        EXPECT_EQ(outcome(create), created);
        EXPECT_EQ(access->getIterator() != nullptr, created == 0);
        Lines const lines{TABLE.error("connect", fault.line),
                          ITERATOR.error("create", "Error connect name : test.key,  status: 5")};
        EXPECT_EQ(logged(), created == 4 ? lines : Lines{});
        heal();
        EXPECT_EQ(outcome(create), 0);
        fault.begin(tv);
        int const again = outcome(create);
        EXPECT_EQ(again, created == 0 ? fault.of(Call::destroyIterator) : created);
        // Once the new table is there, the old iterator goes, and a new one may not come.
        EXPECT_EQ(access->getIterator() == nullptr, fault.connect == 0 && created != 0);
        EXPECT_EQ(outcome(destroy), fault.of(Call::destroyIterator));
        heal();
        EXPECT_EQ(outcome(destroy), 0);
        fault.begin(tv);
        access.reset();
        EXPECT_EQ(tv.registrations(KEY) - before, fault.left * (again == 0 ? 2 : 1));
        heal();
    }
}

TEST_F(HostileModelTest, ALogThatThrowsLeavesNoRegistration) {
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

TEST_F(HostileModelTest, WhatComesWhileAConnectWaitsIsTaken) {
    for (Kind const& kind : KINDS) {
        publish(kind);
        tv.failConnects(KEY, {.status = 3});
        duringSleep = [this] { heal(); };
        auto const access = kind.make();
        EXPECT_EQ(access->connect(300), 0);
        EXPECT_EQ(takeSleeps().size(), 1U);
        access->disconnect();
    }
    auto const handler = std::make_shared<RecordingHandler>();
    ValueAccessT<ObserverVectorString> access(KEY, handler);
    duringSleep = [&access] { access.notifyStringVector({"early"}); };
    EXPECT_EQ(access.connect(1), 6);
    tv.withdraw(KEY);
    EXPECT_EQ(access.connect(200), 5);
    EXPECT_EQ(handler->values, Lines(2, "9 [early]"));
    duringSleep = [] {};
}

TEST_F(HostileModelTest, WhatAFailedReadLeavesIsPassedOnWithItsStatus) {
    auto const expectHalf = [this](int status, auto const& whole, auto const& half) {
        tv.publish(KEY, whole);
        tv.failReads(KEY, {status, true});
        TableAccess access(KEY);  // Reads whatever it is connected to.
        EXPECT_EQ(access.connect(0), 0);
        auto out = whole;
        EXPECT_EQ(access.getValue(out), status);
        EXPECT_EQ(out, half);
        access.disconnect();
    };
    for (int const status : {-4, 0, 4}) {
        expectHalf(status, "a\0b\xff"s, "a\0"s);
        expectHalf(status, Integers{1, 2, 3}, Integers{1});
        expectHalf(status, Strings{"%s", ""}, Strings{"%s"});
    }
}

}  // namespace
}  // namespace test
