// The layer in client/, with a television that does what it should not.

#include "client/action.h"
#include "client/property.h"
#include "client/table.h"
#include "support.h"

namespace test::client_fault_test {

namespace client = orvane::client;
using simulator::Call;

TEST_F(TelevisionTest, AClientThatCannotBeDisconnectedReceivesNothingMore) {
    int calls = 0;
    auto const count = [&calls](int /*value*/) { ++calls; };
    for (Call const call : {Call::none, Call::disconnect, Call::destroyIterator}) {
        tv.publishTable(KEY, {{"row"}});
        tv.publish("value", 0);
        {
            client::Property<int> property("value");
            client::Table table(KEY);
            auto rows = table.rows({}, 1);
            EXPECT_TRUE(property.watch(count) && table.watch(count) && *rows.begin() == Strings{"row"});
            tv.setRootLookup(call == Call::none ? simulator::RootLookup::refused : simulator::RootLookup::published);
            tv.throwFrom(KEY, call);
            tv.throwFrom("value", call);
        }
        EXPECT_EQ(std::exchange(calls, 0), 1);  // The value read.
        tv.set("value", 1);
        tv.setRows(KEY, {});
        tv.waitUntilDelivered();
        EXPECT_TRUE(calls == 0 && tv.registrations("value") == (call == Call::none ? 1 : 2));
        tv.setRootLookup(simulator::RootLookup::published);
        tv.throwFrom(KEY, Call::none);
    }
}

TEST_F(TelevisionTest, AClientGoesOnAfterAnException) {
    client::Property<std::string> property("value");
    client::Action action(KEY);
    auto const fail = [](auto const& /*value*/) { FAIL(); };
    tv.publish("value", "text");
    tv.publishAction(KEY, [](auto const&) { return ActionAnswer{0, 7, ActionAnswer::Results()}; });
    for (Call const call : {Call::connect, Call::invoke}) {
        tv.throwFrom(KEY, call);
        EXPECT_THROW(action.call({}, fail), std::bad_alloc);
    }
    tv.throwFrom(KEY, Call::none);
    EXPECT_TRUE(action.call({}, std::chrono::seconds(60)));
    for (Call const call : {Call::connect, Call::read}) {
        tv.throwFrom("value", call);
        EXPECT_THROW(static_cast<void>(property.watch(fail)), std::bad_alloc);
    }
    tv.throwFrom("value", Call::none);
    tv.notifyEarly("value", true);
    client::Property<std::string> early("value");
    Strings received;
    for (auto* const each : {&property, &early}) {
        EXPECT_TRUE(each->watch([&received](std::string const& value) { received.push_back(value); }));
    }
    tv.waitUntilDelivered();
    EXPECT_EQ(received, Strings(3, "text"));  // Each has the value once; the early notification tells `property` again.
    tv.publishTable(KEY, {});
    tv.refuseIterators(KEY, true);
    auto rows = client::Table(KEY).rows({}, 1);
    EXPECT_FALSE(rows.begin() != rows.end());
    EXPECT_EQ(rows.result().error().cause, client::Cause::NO_ITERATOR);
}

}  // namespace test::client_fault_test
