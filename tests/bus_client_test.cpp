// Clients of a television on a bus that starts late, is lost or returns.

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "bus/bus_platform.h"
#include "client/action.h"
#include "client/property.h"
#include "client/table.h"
#include "television_driver.h"

// These functions replace the C library's functions in the whole process, including the platform library.

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
        ::setenv("NRX_BUS_ADDRESS", "unix:path=/elsewhere", 1);  // `early` read the environment, on the main thread.
        driver::publish(key, 7);
        driver::start();
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
        return without == STATUS_NO_RESOURCES && Client<int>(key).status == STATUS_NOT_PUBLISHED;
    });
}
#endif

template <typename T>
struct LostValue : PlainValueTest<T> {
    template <typename... Clients>
    static void expectReceived(std::vector<T> const& expected, Clients&... clients) {
        driver::sync();
        for (std::vector<T> const& received : {clients.take()...}) {
            EXPECT_EQ(received, expected);
        }
    }
};
TYPED_TEST_SUITE(LostValue, PlainTypes, );

TYPED_TEST(LostValue, FailsDuringALossAndNotifiesAChangedValueAfterwards) {
    auto const& list = this->values;
    auto client = driver::published(this->key, list[2]);
    for (driver::Loss const& loss : driver::LOSSES) {
        SCOPED_TRACE(loss.name);
        Client<TypeParam> other(this->key);
        driver::set(this->key, list[0]);
        driver::sync();
        loss.lose();
        Client<TypeParam> late(this->key);
        EXPECT_TRUE(late.status == loss.status && late.object == nullptr);
        constexpr bool IS_NUMBER = std::is_arithmetic_v<TypeParam>;  // A read of a number returns the last value.
        EXPECT_EQ(client.readStatus(), IS_NUMBER ? 0 : loss.status);
        EXPECT_TRUE(!IS_NUMBER || client.read() == list[0]);
        EXPECT_EQ(client.write(list[2]), loss.status);
        EXPECT_EQ(client.type(), client.TYPE);
        driver::set(this->key, list[1]);
        driver::start();
        this->expectReceived({list[0], list[1]}, client, other);

        loss.lose();
        driver::start();
        loss.lose();
        driver::set(this->key, list[0]);
        driver::set(this->key, list[1]);  // The clients have already received this value.
        driver::start();
        this->expectReceived({}, client, other);

        loss.lose();
        EXPECT_EQ(other.disconnect(), 0);
        EXPECT_EQ(other.disconnect(), STATUS_NOT_CONNECTED);
        driver::set(this->key, list[2]);
        driver::start();
        driver::set(this->key, list[2]);  // A write of an equal value is a change, too.
        EXPECT_EQ(client.write(list[1]), 0);
        this->expectReceived({list[2], list[2], list[1]}, client);
        EXPECT_EQ(client.read(), list[1]);
        this->expectReceived({}, other, late);

        // At the return, the notification depends on the values that the connected clients have received.
        EXPECT_EQ(client.disconnect(), 0);
        Client<TypeParam> fresh(this->key);
        driver::set(this->key, list[2]);
        driver::sync();
        EXPECT_EQ(fresh.disconnect(), 0);
        Client<TypeParam> first(this->key);
        loss.lose();
        driver::start();
        this->expectReceived({list[2]}, first);  // This client has received no value yet.
        Client<TypeParam> second(this->key);
        loss.lose();
        driver::start();
        this->expectReceived({}, first, second);
        EXPECT_EQ(connectTo(this->key, &client, client.object), 0);
    }
}

TYPED_TEST(LostValue, IsRecoveredFromTheNextTelevisionThatPublishesIt) {
    for (driver::Loss const& loss : driver::LOSSES) {
        SCOPED_TRACE(loss.name);
        auto client = driver::published(this->key, this->values[0]);
        driver::withdraw(this->key);
        driver::publish(this->key, this->values[0]);
        driver::sync();
        Client<TypeParam> later(this->key);
        driver::withdraw(this->key);
        driver::sync();
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        EXPECT_EQ(later.write(this->values[1]), STATUS_WITHDRAWN);
        loss.lose();
        driver::publish(this->key, this->values[1]);
        driver::start();
        driver::set(this->key, this->values[2]);
        this->expectReceived({this->values[1], this->values[2]}, client, later);
        EXPECT_EQ(client.read(), this->values[2]);
        EXPECT_EQ(later.read(), this->values[2]);
        EXPECT_EQ(client.write(this->values[0]), 0);
        driver::sync();
        driver::withdraw(this->key);
        driver::publish(this->key, this->values[1]);
        this->expectReceived({this->values[0]}, client, later);
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);  // The same television restores no object.
        EXPECT_EQ(later.write(this->values[1]), STATUS_WITHDRAWN);
        EXPECT_EQ(client.disconnect() + later.disconnect(), 0);
    }
}

TYPED_TEST(LostValue, MayBePublishedLaterOrWithAnotherType) {
    using Other = std::conditional_t<std::is_same_v<TypeParam, std::string>, int, std::string>;
    for (driver::Loss const& loss : driver::LOSSES) {
        SCOPED_TRACE(loss.name);
        auto client = driver::published(this->key, this->values[0]);
        loss.lose();
        driver::withdraw(this->key);
        driver::start();
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        EXPECT_EQ(Client<TypeParam>(this->key).status, STATUS_NOT_PUBLISHED);
        driver::publish(this->key, this->values[1]);
        driver::syncReads();
        EXPECT_EQ(client.write(this->values[0]), 0);
        this->expectReceived({this->values[1], this->values[0]}, client);

        loss.lose();
        driver::publish(this->key, valueOf<Other>(7));
        driver::start();
        Client<Other> other(this->key);
        EXPECT_EQ(other.read(), valueOf<Other>(7));
        EXPECT_EQ(other.type(), other.TYPE);
        EXPECT_EQ(client.type(), client.TYPE);  // A client's object keeps its type.
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        driver::set(this->key, valueOf<Other>(8));
        EXPECT_EQ(driver::received(other), std::vector<Other>{valueOf<Other>(8)});
        EXPECT_TRUE(client.take().empty());
        driver::publish(this->key, this->values[2]);
        driver::syncReads();
        EXPECT_EQ(client.write(this->values[0]), 0);
        EXPECT_EQ(other.write(valueOf<Other>(7)), STATUS_WITHDRAWN);
        this->expectReceived({this->values[2], this->values[0]}, client);
        EXPECT_EQ(client.disconnect(), 0);
    }
}

struct LostTelevision : ::testing::TestWithParam<driver::Loss> {
    std::string const key = testKey();
};
INSTANTIATE_TEST_SUITE_P(By, LostTelevision, ::testing::ValuesIn(driver::LOSSES),
                         [](auto const& loss) { return loss.param.name; });

TEST_P(LostTelevision, IsReportedBeforeTheValuesOfItsReturn) {
    Strings received;  // On the delivery thread.
    auto client = driver::published(key, 1);
    client.onReceived = [&received] { received.emplace_back("value"); };
    driver::sync();
    bus::setPresenceListener([&](Presence presence) { received.emplace_back(presence == Presence::gone ? "-" : "+"); });
    GetParam().lose();
    EXPECT_EQ(bus::presence(), Presence::gone);
    driver::set(key, 2);
    driver::start();
    EXPECT_EQ(bus::presence(), Presence::back);
    bus::setPresenceListener({});
    GetParam().lose();
    driver::start();
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
    driver::answerWith(Strings{"done"});
    invoke(" 0:done; ");
    driver::sync();
    driver::answerWith({});
    invoke(" error 126 ");
    invoke(" error 126 ");
    driver::sync();
    GetParam().lose();
    id = 7;
    EXPECT_EQ(client->invoke(id, {}), GetParam().status);
    EXPECT_EQ(id, 7U);
    driver::start();
    driver::withdraw(key);
    driver::sync();
    EXPECT_EQ(client->invoke(id, {}), STATUS_WITHDRAWN);
    GetParam().lose();
    driver::publishAction(key);
    driver::start();
    driver::answerWith(Strings{"again"});
    invoke(" 0:again; ");
    EXPECT_EQ(driver::received(client), expected);
}

TEST_P(LostTelevision, NotifiesIteratorsWhichCanStillBeDestroyed) {
    driver::killTelevision();
    driver::publishTable(key, {{"a"}});
    driver::start();  // The first iterators of both televisions, `old` and `renewed`, have the same path.
    Client<ObjectTable> table(key);
    IteratorObserver oldObserver;
    IteratorObserver newObserver;
    TableIterator* const old = makeIterator(table, &oldObserver);
    TableIterator* const ending = makeIterator(table, nullptr);
    ASSERT_TRUE(old != nullptr && ending != nullptr);
    driver::sync();
    GetParam().lose();
    old->readRow();
    EXPECT_EQ(table->destroyIterator(ending), 0);
    EXPECT_NE(table->destroyIterator(ending), 0);
    EXPECT_EQ(makeIterator(table, &newObserver), nullptr);
    driver::start();
    TableIterator* const renewed = makeIterator(table, &newObserver);
    ASSERT_NE(renewed, nullptr);
    old->seekToRow(0);
    EXPECT_EQ(table->destroyIterator(old), 0);
    renewed->requestTotalCount();
    driver::sync();
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
    driver::answerWith({});
    Integers received;
    int error = 0;
    client::Property<int> property(key);
    client::Action action(key + ".action");
    auto rows = client::Table(key + ".table").rows({}, 1);
    auto row = rows.begin();
    EXPECT_TRUE(property.watch([&received](int value) { received.push_back(value); }) && row != rows.end());
    action.call({}, [&error](client::Answer const& answer) { error = answer.error().code; });
    driver::sync();
    GetParam().lose();
    ++row;
    EXPECT_EQ(rows.result().error().code, STATUS_LOST);
    EXPECT_EQ(property.set(3).error().code, GetParam().status);
    driver::set(key, 2);
    driver::start();
    EXPECT_TRUE(property.set(3) && error == STATUS_LOST);
    driver::sync();
    EXPECT_EQ(received, (Integers{1, 2, 3}));
}

}  // namespace test::bus_client_test
