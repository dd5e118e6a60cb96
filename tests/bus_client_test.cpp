// Tests which values a client reads and receives while a television on the bus starts late, is lost or returns.

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "bus/bus_platform.h"
#include "television_driver.h"

// Each `extern "C"` function in this file replaces the C library's function of its name in the whole process.

static std::atomic<int> environmentReads = 0;  ///< The number of `getenv` calls outside the main thread.

extern "C" __attribute__((visibility("default"))) char* getenv(char const* name) noexcept {
    static auto const read = reinterpret_cast<decltype(&getenv)>(::dlsym(RTLD_NEXT, __func__));
    environmentReads += ::gettid() != ::getpid() ? 1 : 0;
    return read(name);
}

extern "C" __attribute__((visibility("default"))) char* secure_getenv(char const* name) noexcept {
    return ::getenv(name);
}

namespace test::bus_client_test {

using namespace television;

/// Runs each `use` in a new process, in which nothing has used the platform yet.
struct BusClientDeathTest : PlainValueTest<int> {
    BusClientDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    void expectTrue(std::function<bool()> const& use) {
        EXPECT_EXIT(std::exit(use() ? 0 : 1), ::testing::ExitedWithCode(0), "");
    }
};

TEST_F(BusClientDeathTest, ConnectsWhenTheBusStarts) {
    expectTrue([this] {
        driver::killBus();
        Recorder<Presence> presences;
        bus::setPresenceListener([&presences](Presence presence) { presences.record(presence); });
        Client<int> const early(key);
        ::setenv("NRX_BUS_ADDRESS", "unix:path=/elsewhere", 1);  // The platform has already read this variable.
        driver::publish(key, 7);
        driver::restartAfterLoss();
        Client<int> const late(key);
        bus::setPresenceListener({});
        bool const isConnected = early.status == STATUS_NO_BUS && late.status == 0 && late.read() == 7 &&
                                 presences.take() == std::vector{Presence::gone, Presence::reached};
        return isConnected && environmentReads == 0;
    });
}

#ifdef NRX_FAILING_THREADS
static std::atomic<int> threadsLeft = INT_MAX;

extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     pthread_attr_t const* attributes,
                                                                     void* (*run)(void*), void* argument) noexcept {
    static auto const create = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, __func__));
    return threadsLeft-- > 0 ? create(thread, attributes, run, argument) : EAGAIN;
}

TEST_F(BusClientDeathTest, NeedsTwoThreads) {
    expectTrue([this] {
        threadsLeft = 1;
        int const without = Client<int>(key).status;
        threadsLeft = INT_MAX;
        int with = STATUS_NO_BUS;
        while (with == STATUS_NO_BUS) {  // An attempt may end before the platform has reached the bus.
            with = Client<int>(key).status;
        }
        return without == STATUS_NO_RESOURCES && with == STATUS_NOT_PUBLISHED;
    });
}
#endif

template <typename T>
struct LostValue : PlainValueTest<T> {
    template <typename... Clients>
    static void expectReceived(std::vector<T> const& expected, Clients&... clients) {
        driver::waitForNotifications();
        for (std::vector<T> const& received : {clients.take()...}) {
            EXPECT_EQ(received, expected);
        }
    }
};
TYPED_TEST_SUITE(LostValue, PlainTypes, );

TYPED_TEST(LostValue, FailsDuringALossAndNotifiesAChangedValueAfterwards) {
    auto const& list = this->values;
    auto client = driver::publishAndConnect(this->key, list[2]);
    for (driver::TelevisionLoss const& loss : driver::LOSSES) {
        SCOPED_TRACE(loss.name);
        Client<TypeParam> other(this->key);
        driver::set(this->key, list[0]);
        driver::waitForNotifications();
        loss.lose();
        Client<TypeParam> late(this->key);
        EXPECT_TRUE(late.status == loss.status && late.object == nullptr);
        // A failed read of a number returns the value that the client received last.
        constexpr bool IS_NUMBER = std::is_arithmetic_v<TypeParam>;
        EXPECT_EQ(client.statusOfRead(), IS_NUMBER ? 0 : loss.status);
        EXPECT_TRUE(!IS_NUMBER || client.read() == list[0]);
        EXPECT_EQ(client.write(list[2]), loss.status);
        EXPECT_EQ(client.reportedType(), client.TYPE);
        driver::set(this->key, list[1]);
        driver::restartAfterLoss();
        this->expectReceived({list[0], list[1]}, client, other);

        loss.lose();
        driver::restartAfterLoss();
        loss.lose();
        driver::set(this->key, list[0]);
        driver::set(this->key, list[1]);  // The clients have already received this value.
        driver::restartAfterLoss();
        this->expectReceived({}, client, other);

        loss.lose();
        EXPECT_EQ(other.disconnect(), 0);
        EXPECT_EQ(other.disconnect(), STATUS_NOT_CONNECTED);
        driver::set(this->key, list[2]);
        driver::restartAfterLoss();
        driver::set(this->key, list[2]);  // A write of an equal value is a change, too.
        EXPECT_EQ(client.write(list[1]), 0);
        this->expectReceived({list[2], list[2], list[1]}, client);
        EXPECT_EQ(client.read(), list[1]);
        this->expectReceived({}, other, late);

        // After a loss, the clients receive the value unless it equals the last notified value. The connect of an
        // object's first client clears the last notified value.
        EXPECT_EQ(client.disconnect(), 0);
        Client<TypeParam> fresh(this->key);
        driver::set(this->key, list[2]);
        driver::waitForNotifications();
        EXPECT_EQ(fresh.disconnect(), 0);
        Client<TypeParam> first(this->key);
        loss.lose();
        driver::restartAfterLoss();
        this->expectReceived({list[2]}, first);  // This client has received no value yet.
        Client<TypeParam> second(this->key);
        loss.lose();
        driver::restartAfterLoss();
        this->expectReceived({}, first, second);
        EXPECT_EQ(connectTo(this->key, &client, client.object), 0);
    }
}

TYPED_TEST(LostValue, IsRecoveredFromTheNextTelevisionThatPublishesIt) {
    for (driver::TelevisionLoss const& loss : driver::LOSSES) {
        SCOPED_TRACE(loss.name);
        auto client = driver::publishAndConnect(this->key, this->values[0]);
        driver::withdraw(this->key);
        driver::publish(this->key, this->values[0]);
        driver::waitForNotifications();
        Client<TypeParam> later(this->key);
        driver::withdraw(this->key);
        driver::waitForNotifications();
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        EXPECT_EQ(later.write(this->values[1]), STATUS_WITHDRAWN);
        loss.lose();
        driver::publish(this->key, this->values[1]);
        driver::restartAfterLoss();
        driver::set(this->key, this->values[2]);
        this->expectReceived({this->values[1], this->values[2]}, client, later);
        EXPECT_EQ(client.read(), this->values[2]);
        EXPECT_EQ(later.read(), this->values[2]);
        EXPECT_EQ(client.write(this->values[0]), 0);
        driver::waitForNotifications();
        driver::withdraw(this->key);
        driver::publish(this->key, this->values[1]);
        this->expectReceived({this->values[0]}, client, later);
        // The client's object stays withdrawn until another television publishes the key.
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        EXPECT_EQ(later.write(this->values[1]), STATUS_WITHDRAWN);
        EXPECT_EQ(client.disconnect() + later.disconnect(), 0);
    }
}

TYPED_TEST(LostValue, MayBePublishedLaterOrWithAnotherType) {
    using Other = std::conditional_t<std::is_same_v<TypeParam, std::string>, int, std::string>;
    for (driver::TelevisionLoss const& loss : driver::LOSSES) {
        SCOPED_TRACE(loss.name);
        auto client = driver::publishAndConnect(this->key, this->values[0]);
        loss.lose();
        driver::withdraw(this->key);
        driver::restartAfterLoss();
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        EXPECT_EQ(Client<TypeParam>(this->key).status, STATUS_NOT_PUBLISHED);
        driver::publish(this->key, this->values[1]);
        driver::waitForNotificationsAndResyncs();
        EXPECT_EQ(client.write(this->values[0]), 0);
        this->expectReceived({this->values[1], this->values[0]}, client);

        loss.lose();
        driver::publish(this->key, sampleValue<Other>(7));
        driver::restartAfterLoss();
        Client<Other> other(this->key);
        EXPECT_EQ(other.read(), sampleValue<Other>(7));
        EXPECT_EQ(other.reportedType(), other.TYPE);
        EXPECT_EQ(client.reportedType(), client.TYPE);  // A client's object keeps its type.
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        driver::set(this->key, sampleValue<Other>(8));
        EXPECT_EQ(driver::received(other), std::vector<Other>{sampleValue<Other>(8)});
        EXPECT_TRUE(client.take().empty());
        driver::publish(this->key, this->values[2]);
        driver::waitForNotificationsAndResyncs();
        EXPECT_EQ(client.write(this->values[0]), 0);
        EXPECT_EQ(other.write(sampleValue<Other>(7)), STATUS_WITHDRAWN);
        this->expectReceived({this->values[2], this->values[0]}, client);
        EXPECT_EQ(client.disconnect(), 0);
    }
}

}  // namespace test::bus_client_test
