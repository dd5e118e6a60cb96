// Each allocation of each operation fails twice: in one run only this allocation fails, in another run this allocation
// and all later allocations fail.

#include <climits>

#include "failing_allocations.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test::memory_test {

std::string const NUMBERS = "a list of numbers, whose key is long";
std::string const ROWS = "a table, whose key is long, too";
Strings const LIST{"a text that is too long for the string itself to hold", "b"};

std::vector<objbus::Argument> const RESULTS{{0, 1, 0, "b"}, {0, 0, 0, LIST[0]}};

/// The objects of all operations. `isReceived` is true after a handler has received the list or the value.
struct Things : orvane::NRXModelAccessClient, ValueHandler, ActionHandler {
    explicit Things(simulator::Television& on) : tv(on) {
        facade.startCommandListener();
        value.stringValue = LIST[0];
        target.stringValue = LIST[1];
        second.create();
    }
    ~Things() override {
        first.destroy();
        second.destroy();
    }
    void onNRXCommandReceived(Strings const& parameters) override { isReceived = parameters == LIST; }
    void onNRXEventReceived(Strings const& /*parameters*/) override {}
    void handleNewValue(IValueObject const& /*value*/) override { isReceived = true; }
    void handleResult(unsigned int /*actionId*/, ValueObject const& results) override { isReceived = results == value; }
    void handleExecutionError(unsigned int /*actionId*/, int /*error*/) override {}

    simulator::Television& tv;
    bool isReceived = false;
    std::shared_ptr<Things> self{this, [](Things* /*shared*/) {}};
    orvane::NRXModelAccess facade{this};
    ValueAccessT<objbus::ObserverVectorNumericInteger> numbers{NUMBERS, self};
    ActionAccess action{SOURCE_SWITCH, self};
    IteratorAccess first{ROWS, nullptr, {}, {{1, 2, LIST[0]}}, {1}, {{3, 4}}};
    IteratorAccess second{ROWS, nullptr, {}, {}, {}, {}};
    ValueObject value = listOf({LIST[0], LIST[1]});
    ValueObject target{1};
    Strings texts;
    Integers integers;
    std::unique_ptr<Things> others;
};

using Operation = std::pair<std::string, bool (*)(Things& things)>;
Operation const OPERATIONS[] = {
    {"construction", [](Things& t) { return (t.others = std::make_unique<Things>(t.tv)) != nullptr; }},
    {"start", [](Things& t) { return t.facade.start(), t.tv.registrations(COMMAND) + t.tv.registrations(EVENT) == 2; }},
    {"relay", [](Things& t) { return t.facade.onNRXCommandValueChanged(t.value), t.isReceived; }},
    {"start request",
     [](Things& t) { return t.facade.requestStartNRXService(), t.tv.registrations(SOURCE_SWITCH) == 1; }},
    {"write by key",
     [](Things& t) { return t.facade.setAccessValue(COMMAND, LIST), t.tv.get(COMMAND) == Value(LIST); }},
    {"read by key", [](Things& t) { return t.facade.getAccessValue(EVENT, t.texts), t.texts == LIST; }},
    {"query", [](Things& t) { return t.facade.getSoftwareVersion() == LIST[0]; }},
    {"write and read", [](Things& t) { return t.numbers.setValue(Integers(2)) + t.numbers.getValue(t.integers) == 0; }},
    {"notification", [](Things& t) { return t.numbers.notifyIntegerVector(Integers(2)), t.isReceived; }},
    {"create", [](Things& t) { return t.first.create() == 0 && t.first.getIterator() != nullptr; }},
    {"create again", [](Things& t) { return t.second.create() == 0 && t.second.getIterator() != nullptr; }},
    {"result", [](Things& t) { return t.action.notifyResult(1, RESULTS), t.isReceived; }},
    {"value copy", [](Things& t) { return ValueObject(t.value) == t.value; }},
    {"value assignment", [](Things& t) { return (t.target = t.value) == t.value; }},
    {"text assignment", [](Things& t) { return (t.target = LIST[0]).stringValue == LIST[0]; }},
    {"value text", [](Things& t) { return t.value.convertToStringType().size() > LIST[0].size(); }},
    {"value conversion", [](Things& t) { return t.value.convertToVectorT(""s) == LIST; }},
};

class MemoryTest : public ::testing::Test {
public:
    MemoryTest() {
        tv.setObjectListener(
            [](auto const&) { static thread_local ScopedThreadAllocationSuccess const ofDeliveryThread; });
        tv.publish(COMMAND, Strings{});
        tv.waitUntilDelivered();
        tv.setObjectListener({});
    }

    /// Returns whether `allocations` allocations suffice. A failed operation must not change `Things::target`.
    bool runsWithoutFailedAllocation(Operation const& operation, int allocations, bool lasts) {
        tv.set(COMMAND, Strings{});
        testing::internal::CaptureStderr();
        auto things = std::make_unique<Things>(tv);
        try {
            ScopedAllocationFailure const failure(allocations, lasts);
            EXPECT_TRUE(operation.second(*things));
        } catch (std::bad_alloc const&) {
            EXPECT_EQ(std::tuple(things->target.type(), things->target.stringValue, things->target.elements.size()),
                      std::tuple(VALUE_INT, LIST[1], 0U));  // The target is unchanged.
        }
        bool const hasNoFailedAllocation = !ScopedAllocationFailure::hasHappened();
        EXPECT_TRUE(operation.second(*things));  // The objects can still be used.
        {
            ScopedAllocationFailure const all(0, true);  // Moves and destruction need no memory.
            things->target = std::move(things->value);
            ValueObject const made = std::move(things->target);
            EXPECT_TRUE(made.elements.size() == 2 && things->target.elements.empty() && things->value.elements.empty());
            things.reset();
        }
        tv.waitUntilDelivered();
        std::string const log = testing::internal::GetCapturedStderr();  // Each entry line has its exit line.
        EXPECT_EQ(std::count(log.begin(), log.end(), '>'), std::count(log.begin(), log.end(), '<'));
        for (std::string const& key : {COMMAND, EVENT, SOFTWARE_VERSION, SOURCE_SWITCH, NUMBERS, ROWS}) {
            EXPECT_EQ(tv.registrations(key), 0);
        }
        tv.setRows(ROWS, {});  // Notifies no destroyed observer.
        tv.waitUntilDelivered();
        return hasNoFailedAllocation;
    }

    simulator::Television tv;
};

TEST_F(MemoryTest, EveryAllocationMayFail) {
#ifdef NRX_THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizer itself needs memory";
#endif
    tv.publish(EVENT, LIST);
    tv.publish(SOFTWARE_VERSION, LIST[0]);
    tv.publish(NUMBERS, Integers{});
    tv.publishAction(SOURCE_SWITCH, {});
    tv.publishTable(ROWS, {});
    auto const run = [this](auto const&... step) { return runsWithoutFailedAllocation(step...); };
    simulator::setLogLevel(simulator::LogLevel::debug);
    failEachAllocation(OPERATIONS, run);
    simulator::setLogLevel(simulator::LogLevel::off);
    for (Operation const& operation : OPERATIONS) {
        EXPECT_TRUE(run(operation, INT_MAX, true)) << operation.first;
    }
    simulator::setLogLevel(simulator::LogLevel::error);
}

}  // namespace test::memory_test
