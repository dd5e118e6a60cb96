// The simulated television, where no test of its clients sees it fail.

#include "support.h"

namespace test {
namespace {

using namespace objbus;

TEST_F(TelevisionTest, EveryOperationMayBeCalledFromAnyThread) {  // What a missing lock does, a sanitizer sees.
    std::atomic<int> names = 0;
    std::function<void()> const operations[] = {
        [&] { tv.publish("new " + std::to_string(++names), 5); },
        [&] { tv.set(KEY, 6); },
        [&] { tv.setRows("table", {{"1"}}); },
        [&] { tv.withdraw("nothing"); },
        [&] {
            tv.setObjectListener([&](std::string const& key) { names += static_cast<int>(tv.objects().count(key)); });
        },
        [&] { tv.setObjectListener({}); },
        [&] { tv.setRootLookup(simulator::RootLookup::published); },
        [&] { tv.failConnects(KEY, {.attempts = 0}); },
        [&] { tv.failReads(KEY, {}); },
        [&] { tv.failInvokes(KEY, 0); },
        [&] { tv.throwFrom("table", simulator::Call::none); },
        [&] { tv.notifyEarly(KEY, false); },
        [&] { tv.refuseIterators(KEY, false); },
        [&] { EXPECT_TRUE(tv.get(KEY)); },
        [&] { EXPECT_GE(tv.lookups(), 0); },
        [&] { EXPECT_EQ(tv.counts(KEY).reads, 0); },
        [&] { EXPECT_GE(tv.registrations(KEY), 0); },
        [&] { EXPECT_TRUE(tv.iteratorRequest("table").value_or(simulator::IteratorRequest{}).columns.empty()); },
        [&] {
            IteratorAccess rows("table", nullptr, {}, {}, {}, {});
            rows.create();
            rows.destroy();
        },
        [&] { ValueAccessT<ObserverNumericInteger>(KEY).connect(0); },
        [&] { tv.waitUntilDelivered(); },
    };
    tv.publish(KEY, 5);
    tv.publishTable("table", {});
    for (auto const& operation : operations) {
        std::jthread const other([&] {
            for (auto const& each : operations) {
                each();
            }
        });
        operation();
    }
}

TEST_F(TelevisionTest, ObjectsComeAndGoInTheOrderOfTheChanges) {
    struct Hearing : ObserverNumericInteger {
        explicit Hearing(std::vector<std::string>& all) : heard(all) {}
        void notifyNewValue(int value) override { heard.push_back(std::to_string(value)); }
        std::vector<std::string>& heard;
    };
    std::vector<std::string> heard;
    Hearing observer(heard);
    tv.publish(KEY, 1);
    Object* object = nullptr;
    ASSERT_EQ(ActionAccess(KEY).getRootInterface()->connectObject(KEY, &observer, object), 0);
    tv.setObjectListener([&](std::string const& key) { heard.push_back(key); });
    tv.set(KEY, 2);
    tv.publish(KEY, 3);  // In place of the other: told once.
    tv.withdraw("nothing");
    tv.withdraw(KEY);
    tv.waitUntilDelivered();
    tv.setObjectListener({});
    tv.publish(KEY, 4);
    tv.waitUntilDelivered();
    EXPECT_EQ(heard, (std::vector<std::string>{"2", KEY, KEY}));
    ActionAccess(KEY).getRootInterface()->disconnectObject(KEY, &observer, object);
}

TEST_F(TelevisionTest, IsOnOneAtATime) {
    EXPECT_THROW(simulator::Television(), std::logic_error);
    EXPECT_THROW(simulator::LogCapture(), std::logic_error);
}

}  // namespace
}  // namespace test
