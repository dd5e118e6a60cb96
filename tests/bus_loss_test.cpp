// Tests actions, iterators, presence and the client layer while a television on a bus is lost and after it returns.

#include "bus/bus_platform.h"
#include "client/action.h"
#include "client/property.h"
#include "client/table.h"
#include "television_driver.h"

namespace test::bus_loss_test {

using namespace television;

struct LostTelevision : ::testing::TestWithParam<driver::TelevisionLoss> {
    std::string const key = keyOfCurrentTest();
};
INSTANTIATE_TEST_SUITE_P(By, LostTelevision, ::testing::ValuesIn(driver::LOSSES),
                         [](auto const& loss) { return loss.param.name; });

TEST_P(LostTelevision, IsReportedBeforeTheValuesOfItsReturn) {
    Strings received;  // The delivery thread adds the texts.
    auto client = driver::publishAndConnect(key, 1);
    client.onReceived = [&received] { received.emplace_back("value"); };
    driver::waitForNotifications();
    bus::setPresenceListener([&](Presence presence) { received.emplace_back(presence == Presence::gone ? "-" : "+"); });
    GetParam().lose();
    EXPECT_EQ(bus::presence(), Presence::gone);
    driver::set(key, 2);
    driver::restartAfterLoss();
    EXPECT_EQ(bus::presence(), Presence::back);
    bus::setPresenceListener({});
    GetParam().lose();
    driver::restartAfterLoss();
    EXPECT_EQ(received, (Strings{"+", "-", "+", "value"}));
}

TEST_P(LostTelevision, AnswersEveryInvocationOnce) {
    driver::publishAction(key);
    Client<ObjectAction> client(key);
    Strings expected;
    unsigned int id = 0;
    auto const invoke = [&](std::string const& answer) {
        EXPECT_EQ(client->invoke(id, {}), 0);
        expected.push_back(std::to_string(id) + answer);
    };
    driver::setInvokeAnswer(Strings{"done"});
    invoke(" 0:done; ");
    driver::waitForNotifications();
    driver::setInvokeAnswer({});
    invoke(" error 126 ");
    invoke(" error 126 ");
    driver::waitForNotifications();
    GetParam().lose();
    id = 7;
    EXPECT_EQ(client->invoke(id, {}), GetParam().status);
    EXPECT_EQ(id, 7U);
    driver::restartAfterLoss();
    driver::withdraw(key);
    driver::waitForNotifications();
    EXPECT_EQ(client->invoke(id, {}), STATUS_WITHDRAWN);
    GetParam().lose();
    driver::publishAction(key);
    driver::restartAfterLoss();
    driver::setInvokeAnswer(Strings{"again"});
    invoke(" 0:again; ");
    EXPECT_EQ(driver::received(client), expected);
}

TEST_P(LostTelevision, NotifiesIteratorsWhichCanStillBeDestroyed) {
    driver::killTelevision();
    driver::publishTable(key, {{"a"}});
    // The paths of `old` and `renewed` end with the same number, but each television has its own path prefix.
    driver::restartAfterLoss();
    Client<ObjectTable> table(key);
    IteratorObserver oldObserver;
    IteratorObserver newObserver;
    TableIterator* const old = makeIterator(table, &oldObserver);
    TableIterator* const ending = makeIterator(table, nullptr);
    ASSERT_TRUE(old != nullptr && ending != nullptr);
    driver::waitForNotifications();
    GetParam().lose();
    old->readRow();
    EXPECT_EQ(table->destroyIterator(ending), 0);
    EXPECT_NE(table->destroyIterator(ending), 0);
    EXPECT_EQ(makeIterator(table, &newObserver), nullptr);
    driver::restartAfterLoss();
    TableIterator* const renewed = makeIterator(table, &newObserver);
    ASSERT_NE(renewed, nullptr);
    old->seekToRow(0);
    EXPECT_EQ(table->destroyIterator(old), 0);
    renewed->requestTotalCount();
    driver::waitForNotifications();
    driver::setRows(key, {});
    EXPECT_EQ(driver::received(oldObserver), (Strings{"ready 0 ", "ready 126 "}));
    EXPECT_EQ(newObserver.take(), (Strings{"ready 0 ", "count 1 ", "update 0 "}));
    EXPECT_EQ(table.take(), Strings{"update 0 "});
    EXPECT_EQ(table->destroyIterator(renewed), 0);
}

TEST_P(LostTelevision, IsFoundAgainByTheClientLayer) {
    namespace client = orvane::client;
    driver::publish(key, 1);
    driver::publishAction(key + ".action");
    driver::publishTable(key + ".table", {{"1"}, {"2"}});
    driver::setInvokeAnswer({});
    Integers received;
    int error = 0;
    client::Property<int> property(key);
    client::Action action(key + ".action");
    auto rows = client::Table(key + ".table").rows({}, 1);
    auto row = rows.begin();
    EXPECT_TRUE(property.watch([&received](int value) { received.push_back(value); }) && row != rows.end());
    action.call({}, [&error](client::Answer const& answer) { error = answer.error().code; });
    driver::waitForNotifications();
    GetParam().lose();
    ++row;
    EXPECT_EQ(rows.result().error().code, STATUS_LOST);
    EXPECT_EQ(property.set(3).error().code, GetParam().status);
    driver::set(key, 2);
    driver::restartAfterLoss();
    EXPECT_TRUE(property.set(3) && error == STATUS_LOST);
    driver::waitForNotifications();
    EXPECT_EQ(received, (Integers{1, 2, 3}));
}

}  // namespace test::bus_loss_test
