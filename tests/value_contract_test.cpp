// The simulated television and the television on D-Bus serve plain values and notify connected observers.

#include <algorithm>
#include <climits>
#include <limits>
#include <thread>

#include "television/log.h"
#include "television_driver.h"

namespace test::value_contract_test {

template <typename T>
std::vector<T> const EDGES{std::numeric_limits<T>::min(), -1, std::numeric_limits<T>::max()};
template <>
Strings const EDGES<std::string>{"", " \n\"\\#", "\u00e5\u20ac\U0001F4FA", std::string(100'000, 'x')};
template <>
std::vector<Integers> const EDGES<Integers>{{}, {INT_MIN, 0, INT_MAX}, Integers(10'000, -1)};
template <>
std::vector<Strings> const EDGES<Strings>{{}, {""}, {"a b", "", "\U0001F4FA"}, Strings(10'000, "text")};

template <typename T>
using PlainValueContract = PlainValueTest<T>;
TYPED_TEST_SUITE(PlainValueContract, PlainTypes, );

TYPED_TEST(PlainValueContract, ReadsAndWritesEveryValue) {
    Client<TypeParam> early(this->key);
    auto client = driver::publishAndConnect(this->key, EDGES<TypeParam>.back());
    Client<TypeParam> other(this->key);
    Client<ObjectTable> mistyped(this->key);
    EXPECT_TRUE(early.status != 0 && early.object == nullptr && mistyped.status == 0);
    EXPECT_TRUE(client.reportedType() == client.TYPE && mistyped.reportedType() == client.TYPE);
    EXPECT_TRUE(client.read() == EDGES<TypeParam>.back());
    for (TypeParam const& edge : EDGES<TypeParam>) {
        driver::set(this->key, edge);
        driver::set(this->key, edge);  // An equal value is notified, too.
        EXPECT_TRUE(client.read() == edge);
        driver::set(this->key, this->values[0]);
        EXPECT_EQ(client.write(edge), 0);
        EXPECT_TRUE(other.read() == edge);
        std::vector<TypeParam> const all{edge, edge, this->values[0], edge};
        EXPECT_TRUE(driver::received(client) == all && other.take() == all);  // The writer is notified, too.
    }
    EXPECT_TRUE(mistyped.take().empty() && early.take().empty());
    if constexpr (!std::is_arithmetic_v<TypeParam>) {
        driver::failReads(this->key, 42);
        EXPECT_EQ(client.statusOfRead(), 42);
    }
}

TYPED_TEST(PlainValueContract, NotifiesAllClientsOfAllChangesInOneOrder) {
    constexpr int COUNT = 500;
    auto client = driver::publishAndConnect(this->key, this->values[0]);
    Client<TypeParam> other(this->key);
    std::vector<TypeParam> expected;
    for (int number = 1; number <= 2 * COUNT; ++number) {
        expected.push_back(sampleValue<TypeParam>(number));
    }
    auto const middle = expected.begin() + COUNT;
    std::thread writer(
        [&] { std::for_each(middle, expected.end(), [&](auto const& value) { EXPECT_EQ(client.write(value), 0); }); });
    std::for_each(expected.begin(), middle, [&](auto const& value) { driver::set(this->key, value); });
    writer.join();
    auto received = driver::received(client);
    EXPECT_EQ(received, other.take());
    EXPECT_EQ(received.empty() ? this->values[0] : received.back(), client.read());
    std::stable_partition(received.begin(), received.end(),
                          [&](auto const& value) { return std::find(expected.begin(), middle, value) != middle; });
    EXPECT_EQ(received, expected);
}

TYPED_TEST(PlainValueContract, KeepsThePointerToAWithdrawnObjectValid) {
    auto old = driver::publishAndConnect(this->key, this->values[0]);
    auto const expectWithdrawn = [&] {
        driver::waitForNotifications();
        EXPECT_TRUE(old.statusOfRead() != 0 ||
                    std::is_arithmetic_v<TypeParam>);  // The read of a number cannot report a failure.
        EXPECT_NE(old.write(this->values[2]), 0);
    };
    driver::withdraw(this->key);
    expectWithdrawn();
    EXPECT_NE(Client<TypeParam>(this->key).status, 0);
    auto renewed = driver::publishAndConnect(this->key, this->values[0]);
    driver::set(this->key, this->values[1]);
    expectWithdrawn();
    EXPECT_EQ(renewed.read(), this->values[1]);
    EXPECT_EQ(renewed.write(this->values[2]), 0);
    EXPECT_EQ(driver::received(renewed), (std::vector<TypeParam>{this->values[1], this->values[2]}));
    EXPECT_TRUE(old.take().empty());
    EXPECT_EQ(old.disconnect(), 0);
    driver::publishAction(this->key);  // Replaces the value.
    driver::waitForNotifications();
    EXPECT_EQ(Client<ObjectAction>(this->key).reportedType(), OBJECT_TYPE_ACTION);
    EXPECT_NE(renewed.write(this->values[0]), 0);
}

using ConnectionContract = PlainValueTest<int>;

/// Holds the delivery thread in an observer's first notification.
struct HeldNotification {
    explicit HeldNotification(std::function<void()>& onReceived) {
        onReceived = [this, isFirst = true]() mutable {
            if (std::exchange(isFirst, false)) {
                entered.set_value();
                release.get_future().wait();
                isLeft = true;
            }
        };
    }
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> isLeft = false;
};

TEST(ProcessContract, HasNoOtherInterface) {
    boost::shared_ptr<frame::Interface> other;
    EXPECT_NE(frame::Process::getInstance().getInterfaceReference(other, "other"), 0);
    EXPECT_EQ(other, nullptr);
}

TEST_F(ConnectionContract, DisconnectsAllRegistrationsOfAnObserverWithAnObject) {
    auto client = driver::publishAndConnect(key, 0);
    auto other = driver::publishAndConnect(key + ".other", 0);
    Object* again = nullptr;
    EXPECT_EQ(connectTo(key, &client, again), 0);
    auto const receivedOf = [&](int value) {
        driver::set(key, value);
        return driver::received(client);
    };
    EXPECT_NE(root().disconnectObject(key, &other, client.object), 0);  // `other` was never connected under this key.
    EXPECT_NE(root().disconnectObject(key, &client, other.object), 0);
    EXPECT_EQ(root().disconnectObject(key, &other, nullptr), 0);
    EXPECT_EQ(receivedOf(1), (Integers{1, 1}));
    EXPECT_EQ(client.disconnect(), 0);
    EXPECT_NE(client.disconnect(), 0);
    EXPECT_EQ(receivedOf(2), Integers());
    EXPECT_EQ(connectTo(key, &client, again), 0);
    EXPECT_EQ(receivedOf(3), Integers{3});
    EXPECT_EQ(root().disconnectObject(key, &client, nullptr), 0);
    EXPECT_EQ(receivedOf(4), Integers());
}

TEST_F(ConnectionContract, ADisconnectWaitsForTheCallToItsObserverAlone) {
    auto client = driver::publishAndConnect(key, 0);
    HeldNotification held(client.onReceived);
    driver::set(key, 1);
    held.entered.get_future().wait();
    auto ending = std::async(std::launch::async, [&] { return client.disconnect() == 0 && held.isLeft; });
    for (int cycle = 0; cycle < 500; ++cycle) {  // If the disconnect did not wait, it would return during the loop.
        EXPECT_EQ(Client<int>(key).disconnect(), 0);
    }
    EXPECT_NE(ending.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    held.release.set_value();
    EXPECT_TRUE(ending.get());
}

TEST_F(ConnectionContract, MayBeUsedFromInsideANotification) {
    auto client = driver::publishAndConnect(key, 0);
    driver::publish(key + ".text", "before"s);
    driver::publishAction(key + ".action");
    driver::publishTable(key + ".table", {{"a"}});
    driver::setInvokeAnswer(Strings{"done"});
    Client<int> other(key);
    Client<int> last(key);
    IteratorObserver rows;
    std::unique_ptr<Client<std::string>> text;
    std::unique_ptr<Client<ObjectAction>> action;
    std::promise<unsigned int> done;
    client.onReceived = [&] {
        text = std::make_unique<Client<std::string>>(key + ".text");
        EXPECT_EQ(text->read(), "before");
        EXPECT_EQ(text->write("after"), 0);
        action = std::make_unique<Client<ObjectAction>>(key + ".action");
        unsigned int id = 0;
        EXPECT_EQ((*action)->invoke(id, {}), 0);
        Client<ObjectTable> const table(key + ".table");
        EXPECT_EQ(table->destroyIterator(makeIterator(table, &rows)), 0);
        EXPECT_EQ(other.disconnect() + client.disconnect(), 0);
        done.set_value(id);
    };
    driver::set(key, 1);
    driver::set(key, 2);
    unsigned int const id = done.get_future().get();
    EXPECT_EQ(driver::received(client), Integers{1});
    EXPECT_TRUE(other.take().empty() && rows.take().empty() && last.take() == (Integers{1, 2}));
    EXPECT_EQ(text->take(), Strings{"after"});
    EXPECT_EQ(action->take(), Strings{std::to_string(id) + " 0:done; "});
}

using SlowHandlerContract = PlainValueTest<std::string>;

TEST_F(SlowHandlerContract, ReceivesTheNewestChangesAboveTheBound) {
    constexpr int COUNT = 80;
    char const* const setting = std::getenv("NRX_DELIVERY_LIMIT");
    std::size_t const limit = setting == nullptr || setting == "64M"s ? 67'108'864 : std::stoul(setting);
    std::size_t const size = std::max<std::size_t>(limit / 64, 1000);
    // A change takes 256 bytes and its text: a number of two digits and `size` dots. The change of `other` has no text.
    // The newest change is kept even if it exceeds the limit alone.
    int const kept = std::max(1, static_cast<int>((limit - 256) / (256 + 2 + size)));
    auto slow = driver::publishAndConnect(key, ""s);
    Client<std::string> twin(key);  // A change for both `slow` and `twin` counts once against the bound.
    auto other = driver::publishAndConnect(key + ".other", 0);
    HeldNotification held(slow.onReceived);
    television::LogCapture log([](auto const& record) { return (record.levelCode & 0xFFFF) == 1000; });  // Only errors.
    Integers expected{1};
    for (int number = 1; number <= COUNT; ++number) {
        EXPECT_EQ(slow.write(std::to_string(number) + std::string(size, '.')), 0);
        number == 1 ? held.entered.get_future().wait() : void();
        number > COUNT - kept ? expected.push_back(number) : void();
        EXPECT_TRUE(number != 2 || other.write(1) == 0);
    }
    EXPECT_EQ(driver::publishAndConnect(key + ".last", 0).status, 0);  // All changes have arrived in this process.
    held.release.set_value();
    driver::waitForNotifications();
    for (auto* each : {&slow, &twin}) {
        Integers received;
        for (std::string const& text : each->take()) {
            received.push_back(std::stoi(text));
        }
        EXPECT_EQ(received, expected);
    }
    EXPECT_EQ(other.take(), Integers{1});  // A new change drops only older changes of its own object.
    std::string const dropped = std::to_string(COUNT - 1 - kept);
    auto const lines = log.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].text.find("older changes give way to newer ones"), std::string::npos) << lines[0].text;
    EXPECT_NE(lines[1].text.find(": " + dropped + " changes gave way"), std::string::npos) << lines[1].text;
}

}  // namespace test::value_contract_test
