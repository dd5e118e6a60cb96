// Tests the layer in client/ with a faulty television.

#include "client/action.h"
#include "client/property.h"
#include "client/table.h"
#include "support.h"

namespace test::client_fault_test {

namespace client = orvane::client;
using simulator::Call, simulator::RootLookup;

constexpr std::chrono::seconds LONG(60);

TEST_F(TelevisionTest, AClientThatCannotBeDisconnectedReceivesNothingMore) {
    for (Call const call : {Call::none, Call::disconnect, Call::destroyIterator}) {
        int calls = 0;
        tv.publishTable(KEY, {{"row"}});
        tv.publish("value", 0);
        {
            client::Property<int> property("value");
            auto rows = client::Table(KEY).rows({}, 1);
            EXPECT_TRUE(property.watch([&calls](int /*value*/) { ++calls; }) && *rows.begin() == Strings{"row"});
            tv.setRootLookup(call == Call::none ? RootLookup::refused : RootLookup::published);
            tv.throwFrom(KEY, call);
            tv.throwFrom("value", call);
        }
        tv.set("value", 1);
        tv.setRows(KEY, {});
        tv.waitUntilDelivered();
        EXPECT_EQ(calls, 1);  // The handler has received only the initial value 0.
        tv.setRootLookup(RootLookup::published);
        tv.throwFrom(KEY, Call::none);
    }
}

TEST_F(TelevisionTest, AClientOfAnActionWithOneIdentifierHasItsAnswers) {
    ActionAccess other(KEY);  // `action` also receives the answers to the calls of `other`.
    tv.publishAction(KEY, [&](auto const& arguments) {
        if (unsigned int id = 0; arguments.size() == 2) {
            other.invoke(id, {});
            tv.waitUntilDelivered();  // The answer to `other` has arrived before the `invoke` of `action` returns.
        }
        return arguments.empty() ? ActionAnswer{0, 7, ActionAnswer::Results()} : ActionAnswer{0, 7};
    });
    EXPECT_EQ(other.connect(0), 0);
    client::Action action(KEY);
    EXPECT_EQ(action.call({"never"}, std::chrono::milliseconds(500)).error().cause, client::Cause::NO_ANSWER);
    // Imitates a television that notifies on this thread. Afterwards, calls on this thread must be able to wait.
    client::detail::Watch<int>({}).notify(0);
    EXPECT_TRUE(action.call({}, LONG));  // The call "never", which timed out, does not receive this answer.
    EXPECT_TRUE(action.call({"an", "early answer"}, std::chrono::milliseconds::max()));
    other.disconnect();
}

TEST_F(TelevisionTest, AClientGoesOnAfterAnException) {
    Strings received;
    client::Property<std::string> property("value");
    auto const receive = [&received](std::string const& value) { received.push_back(value); };
    tv.publish("value", "text");
    for (Call const call : {Call::connect, Call::read}) {
        tv.throwFrom("value", call);
        EXPECT_THROW(static_cast<void>(property.watch(receive)), std::bad_alloc);
    }
    tv.throwFrom("value", Call::none);
    tv.notifyEarly("value", true);
    client::Property<std::string> early("value");
    EXPECT_TRUE(property.watch(receive) && early.watch(receive));
    tv.waitUntilDelivered();
    EXPECT_EQ(received, Strings(3, "text"));  // `early` receives one value, `property` two.
    tv.publishTable(KEY, {});
    tv.refuseIterators(KEY, true);
    auto rows = client::Table(KEY).rows({}, 1);
    EXPECT_FALSE(rows.begin() != rows.end());
    EXPECT_EQ(rows.result().error().cause, client::Cause::NO_ITERATOR);
}

}  // namespace test::client_fault_test
