// Tests the operations of the simulated television that the tests of the television's clients do not check. Also tests
// `television::Iterators`, which both televisions use.

#include "support.h"
#include "television/iterators.h"

namespace test::television_test {

TEST_F(TelevisionTest, ObjectsComeAndGoInTheOrderOfTheChanges) {
    auto const handler = std::make_shared<RecordingHandler>();
    tv.publish(KEY, 1);
    ValueAccessT<objbus::ObserverNumericInteger> access(KEY, handler);
    EXPECT_EQ(access.connect(0), 0);
    tv.setObjectListener([&](std::string const& key) { handler->values.push_back(key); });
    tv.set(KEY, 2);
    tv.publish(KEY, 3);  // The replacement of the object calls the listener once.
    tv.withdraw("nothing");
    tv.withdraw(KEY);
    tv.waitUntilDelivered();
    tv.setObjectListener({});
    tv.publish(KEY, 4);
    tv.waitUntilDelivered();
    EXPECT_EQ(handler->values, (Lines{"1 2", KEY, KEY}));
    EXPECT_THROW(simulator::Television(), std::logic_error);  // Only one may exist at a time.
    EXPECT_THROW(simulator::LogCapture(), std::logic_error);
}

TEST(Presence, IsReportedToTheNewestListenerInTheOrderOfTheChanges) {
    using television::Presence;
    std::vector<Presence> received[2];
    { simulator::Television const earlier; }
    for (std::vector<Presence>& each : received) {
        simulator::setPresenceListener([&each](Presence presence) { each.push_back(presence); });
        simulator::Television television;
        television.waitUntilDelivered();
    }
    simulator::setPresenceListener({});
    simulator::Television const later;
    EXPECT_EQ(received[0], (std::vector{Presence::gone, Presence::back, Presence::gone}));
    EXPECT_EQ(received[1], received[0]);
}

TEST_F(TelevisionTest, APresenceListenerMayEndItselfWithItsAccessObject) {
    tv.publish(KEY, "text");
    auto access = std::make_shared<ValueAccessT<objbus::ObserverString>>(KEY, std::make_shared<RecordingHandler>());
    EXPECT_EQ(access->connect(0), STATUS_OK);
    simulator::setPresenceListener([owned = std::move(access)](auto) { simulator::setPresenceListener({}); });
    tv.waitUntilDelivered();
    EXPECT_EQ(tv.registrations(KEY), 0);
}

TEST(Iterators, KeepALimitedNumberOfDestroyedIterators) {
    television::Iterators<int> iterators;
    std::vector<std::weak_ptr<int>> destroyed;
    for (std::size_t count = 0; count <= iterators.MAX_RETAINED_DESTROYED; ++count) {
        destroyed.push_back(
            iterators.destroy(iterators.add(decltype(iterators)::PreparedInsertion(std::make_shared<int>()))));
    }
    EXPECT_TRUE(destroyed[0].expired() && !destroyed[1].expired() && iterators.live().empty());
}

}  // namespace test::television_test
