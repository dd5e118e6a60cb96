// The simulated television, where no test of its clients sees it fail.

#include "support.h"
#include "television/iterators.h"

namespace test {
namespace {

using namespace objbus;

TEST_F(TelevisionTest, ObjectsComeAndGoInTheOrderOfTheChanges) {
    auto const heard = std::make_shared<RecordingHandler>();
    tv.publish(KEY, 1);
    ValueAccessT<ObserverNumericInteger> access(KEY, heard);
    EXPECT_EQ(access.connect(0), 0);
    tv.setObjectListener([&](std::string const& key) { heard->values.push_back(key); });
    tv.set(KEY, 2);
    tv.publish(KEY, 3);  // In place of the other: told once.
    tv.withdraw("nothing");
    tv.withdraw(KEY);
    tv.waitUntilDelivered();
    tv.setObjectListener({});
    tv.publish(KEY, 4);
    tv.waitUntilDelivered();
    EXPECT_EQ(heard->values, (Lines{"1 2", KEY, KEY}));
    EXPECT_THROW(simulator::Television(), std::logic_error);  // One at a time.
    EXPECT_THROW(simulator::LogCapture(), std::logic_error);
}

TEST(Iterators, KeepSoManyThatWereDestroyed) {
    television::Iterators<int> iterators;
    std::vector<std::weak_ptr<int>> destroyed;
    for (std::size_t count = 0; count <= iterators.MAX_DESTROYED; ++count) {
        destroyed.push_back(iterators.destroy(iterators.add(decltype(iterators)::Prepared(std::make_shared<int>()))));
    }
    EXPECT_TRUE(destroyed[0].expired() && !destroyed[1].expired() && iterators.live().empty());
}

}  // namespace
}  // namespace test
