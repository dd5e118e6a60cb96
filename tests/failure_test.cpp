// What is left behind when the model, or the memory, fails.

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "support.h"

namespace test {
namespace {

using simulator::Call;

std::shared_ptr<IteratorAccess> makeIterator(std::string const& key) {
    return std::shared_ptr<IteratorAccess>(new IteratorAccess(key, nullptr, {}, {}, {}, {}));
}

TEST_F(TelevisionTest, AConnectThatBreaksOffLeavesNoRegistration) {
    ValueAccessT<objbus::ObserverString> value(KEY);
    ActionAccess action(KEY);
    auto iterator = makeIterator(KEY);
    tv.publishTable(KEY, {});
    tv.throwFrom(KEY, Call::type);
    EXPECT_THROW(value.connect(0), std::bad_alloc);
    EXPECT_THROW(action.connect(0), std::bad_alloc);
    EXPECT_THROW(iterator->create(), std::bad_alloc);
    EXPECT_EQ(tv.registrations(KEY), 0);

    beforeOwnLine = [] { throw std::bad_alloc(); };  // At the line of a mismatch, and then at the model, too.
    for (Call const call : {Call::none, Call::disconnect}) {
        tv.throwFrom(KEY, call);
        EXPECT_THROW(value.connect(0), std::bad_alloc);
        EXPECT_THROW(action.connect(0), std::bad_alloc);
        EXPECT_EQ(tv.registrations(KEY), call == Call::none ? 0 : 2);
    }
    tv.publishTable(KEY, {});
    tv.throwFrom(KEY, Call::createIterator);
    EXPECT_THROW(iterator->create(), std::bad_alloc);
    EXPECT_EQ(iterator->getIterator(), nullptr);
    EXPECT_EQ(tv.registrations(KEY), 3);  // Its table is connected, and released with it.
    iterator.reset();
    EXPECT_EQ(tv.registrations(KEY), 2);
}

TEST_F(TelevisionTest, DestructionNeedsNoMemoryAndOutlivesThePlatformsFailure) {
    Strings const keys{"value", "table", "torvi.sl2.vstr.videoplayer.nrx.command", "torvi.sl2.action.source.switch"};
    auto const registrations = [&] {
        Integers counts;
        for (std::string const& key : keys) {
            counts.push_back(tv.registrations(key));
        }
        return counts;
    };
    auto const connected = [&] {
        tv.publish(keys[0], "text"s);
        tv.publishTable(keys[1], {});
        tv.publish(keys[2], Strings{});
        tv.publishAction(keys[3], {});
        auto const value = std::make_shared<ValueAccessT<objbus::ObserverString>>(keys[0]);
        auto const table = makeIterator(keys[1]);
        auto const facade = std::make_shared<orvane::NRXModelAccess>();
        EXPECT_EQ(value->connect(0) + table->create() + table->destroy(), 0);
        facade->start();
        facade->requestStartNRXService();
        EXPECT_EQ(registrations(), Integers(4, 1));
        return std::vector<std::shared_ptr<void>>{value, table, facade};
    };
    auto objects = connected();
    withoutMemory = true;
    objects.clear();
    withoutMemory = false;
    EXPECT_EQ(registrations(), Integers(4, 0));
    objects = connected();
    for (std::string const& key : keys) {
        tv.throwFrom(key, Call::disconnect);
    }
    objects.clear();
    EXPECT_EQ(registrations(), Integers(4, 1));  // What the platform itself fails at may remain.
}

}  // namespace
}  // namespace test
