// The values: what each instance delivers, and what it owns.

#include "support.h"

namespace test {
namespace {

using namespace objbus;
using HandlerPtr = std::shared_ptr<ValueHandler>;

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

TEST_F(TelevisionTest, AKeyThatIsMissingIsNeverAskedFor) {
    std::string text = "before";
    EXPECT_EQ(ValueAccessT<ObserverString>("missing").getValue(text), 8);
    EXPECT_EQ(logged(), (Lines{VALUE.error("connect", "Value is 'missing'."),
                               BASE.error("tryConnectIfNeeded", "BizValue connect failed:'missing', ret: 8")}));
    EXPECT_EQ(tv.lookups(), 0);
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
