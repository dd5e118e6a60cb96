// A television on a bus that is lost and comes back, or its bus, as clients see it.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <memory>

#include "driven_bus.h"
#include "television/status.h"
#include "television_clients.h"

namespace {

#ifdef NRX_FAILING_THREADS
std::atomic<int> threadsLeft = INT_MAX;
#endif
std::atomic<int> threadsReading = 0;  ///< The environment, beside the first one.

}  // namespace

// These stand before the C library's, also for the platform library.

extern "C" __attribute__((visibility("default"))) char* getenv(char const* name) noexcept {
    static auto const read = reinterpret_cast<decltype(&getenv)>(::dlsym(RTLD_NEXT, __func__));
    threadsReading += ::gettid() != ::getpid() ? 1 : 0;
    return read(name);
}

extern "C" __attribute__((visibility("default"))) char* secure_getenv(char const* name) noexcept {
    return ::getenv(name);
}

#ifdef NRX_FAILING_THREADS
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     pthread_attr_t const* attributes,
                                                                     void* (*run)(void*), void* argument) noexcept {
    static auto const create = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, __func__));
    return threadsLeft-- > 0 ? create(thread, attributes, run, argument) : EAGAIN;
}
#endif

namespace test {
namespace {

using namespace television;

/// The two ways in which it is lost, each with the status of what is tried meanwhile.
struct Loss {
    char const* name;
    void (*lose)();
    int status;
};
constexpr Loss LOSSES[] = {
    {"Television", driven::kill, STATUS_NO_TELEVISION},
    {"Bus", driven::killBus, STATUS_NO_BUS},
};

struct LostTelevision : ::testing::TestWithParam<Loss> {
    std::string const key = testKey();
};
INSTANTIATE_TEST_SUITE_P(By, LostTelevision, ::testing::ValuesIn(LOSSES),
                         [](auto const& loss) { return loss.param.name; });

template <typename T>
using LostValue = PlainValueTest<T>;
TYPED_TEST_SUITE(LostValue, PlainTypes, );

TYPED_TEST(LostValue, RefusesMeanwhileAndTellsAnotherValueAtReturn) {
    using Values = std::vector<TypeParam>;
    auto const& list = this->values;
    driven::publish(this->key, list[2]);
    Client<TypeParam> client(this->key);
    for (Loss const& loss : LOSSES) {
        SCOPED_TRACE(loss.name);
        Client<TypeParam> other(this->key);
        driven::set(this->key, list[0]);
        driven::settle();
        loss.lose();
        Client<TypeParam> late(this->key);
        EXPECT_TRUE(late.status == loss.status && late.object == nullptr);
        TypeParam variable = list[2];
        constexpr bool IS_NUMBER = std::is_arithmetic_v<TypeParam>;  // Read without a status.
        EXPECT_EQ(client.read(variable), IS_NUMBER ? 0 : loss.status);
        EXPECT_EQ(variable, list[IS_NUMBER ? 0 : 2]);
        EXPECT_EQ(client.write(list[2]), loss.status);
        EXPECT_EQ(client.type(), client.ear.TYPE);
        driven::set(this->key, list[1]);
        driven::start();
        EXPECT_EQ(client.ear.take(), (Values{list[0], list[1]}));
        EXPECT_EQ(other.ear.take(), (Values{list[0], list[1]}));

        loss.lose();
        driven::start();
        loss.lose();  // In the end it is the same, whatever was between.
        driven::set(this->key, list[0]);
        driven::set(this->key, list[1]);
        driven::start();
        EXPECT_TRUE(client.ear.take().empty() && other.ear.take().empty());

        loss.lose();
        EXPECT_EQ(other.end(), 0);
        EXPECT_EQ(other.end(), STATUS_NOT_CONNECTED);
        driven::set(this->key, list[2]);
        driven::start();
        driven::set(this->key, list[2]);  // A change, as ever.
        EXPECT_EQ(client.write(list[1]), 0);
        driven::settle();
        EXPECT_EQ(client.ear.take(), (Values{list[2], list[2], list[1]}));
        EXPECT_EQ(client.read(), list[1]);
        EXPECT_TRUE(other.ear.take().empty() && late.ear.take().empty());

        // What a client hears at the return depends on what the clients of that moment have heard.
        EXPECT_EQ(client.end(), 0);
        Client<TypeParam> fresh(this->key);
        driven::set(this->key, list[2]);
        driven::settle();
        EXPECT_EQ(fresh.end(), 0);
        Client<TypeParam> first(this->key);
        loss.lose();
        driven::start();
        EXPECT_EQ(first.ear.take(), Values{list[2]});  // The first one, to this client.
        Client<TypeParam> second(this->key);
        loss.lose();
        driven::start();
        EXPECT_TRUE(first.ear.take().empty() && second.ear.take().empty());
        EXPECT_EQ(connectTo(this->key, &client.ear, client.object), 0);
    }
}

TYPED_TEST(LostValue, ComesBackWithTheNextTelevisionThatHasIt) {
    for (Loss const& loss : LOSSES) {
        SCOPED_TRACE(loss.name);
        driven::publish(this->key, this->values[0]);
        Client<TypeParam> client(this->key);
        driven::withdraw(this->key);
        driven::publish(this->key, this->values[0]);
        driven::settle();
        Client<TypeParam> later(this->key);
        driven::withdraw(this->key);
        driven::settle();
        Client<TypeParam>* const clients[] = {&client, &later};
        for (auto const* each : clients) {
            EXPECT_EQ(each->write(this->values[1]), STATUS_WITHDRAWN);
        }
        loss.lose();
        driven::publish(this->key, this->values[1]);
        driven::start();
        driven::set(this->key, this->values[2]);
        driven::settle();
        for (auto* each : clients) {
            EXPECT_EQ(each->ear.take(), (std::vector<TypeParam>{this->values[1], this->values[2]}));
            EXPECT_EQ(each->read(), this->values[2]);
        }
        EXPECT_EQ(client.write(this->values[0]), 0);
        driven::settle();
        driven::withdraw(this->key);
        driven::publish(this->key, this->values[1]);
        driven::settle();
        for (auto* each : clients) {  // As ever while there is one television.
            EXPECT_EQ(each->ear.take(), (std::vector<TypeParam>{this->values[0]}));
            EXPECT_EQ(each->write(this->values[1]), STATUS_WITHDRAWN);
            EXPECT_EQ(each->end(), 0);
        }
    }
}

TYPED_TEST(LostValue, MayComeLaterOrAsAnotherType) {
    using Other = std::conditional_t<std::is_same_v<TypeParam, std::string>, int, std::string>;
    for (Loss const& loss : LOSSES) {
        SCOPED_TRACE(loss.name);
        driven::publish(this->key, this->values[0]);
        Client<TypeParam> client(this->key);
        loss.lose();
        driven::withdraw(this->key);
        driven::start();
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        EXPECT_EQ(Client<TypeParam>(this->key).status, STATUS_NOT_PUBLISHED);
        driven::publish(this->key, this->values[1]);
        driven::settleAgain();
        EXPECT_EQ(client.write(this->values[0]), 0);
        driven::settle();
        EXPECT_EQ(client.ear.take(), (std::vector<TypeParam>{this->values[1], this->values[0]}));

        loss.lose();
        driven::publish(this->key, valueOf<Other>(7));
        driven::start();
        Client<Other> other(this->key);
        EXPECT_EQ(other.read(), valueOf<Other>(7));
        EXPECT_EQ(other.type(), other.ear.TYPE);
        EXPECT_EQ(client.type(), client.ear.TYPE);  // What a client has is what it was.
        EXPECT_EQ(client.write(this->values[1]), STATUS_WITHDRAWN);
        driven::set(this->key, valueOf<Other>(8));
        driven::settle();
        EXPECT_EQ(other.ear.take(), std::vector<Other>{valueOf<Other>(8)});
        EXPECT_TRUE(client.ear.take().empty());
        driven::publish(this->key, this->values[2]);
        driven::settleAgain();
        EXPECT_EQ(client.write(this->values[0]), 0);
        EXPECT_EQ(other.write(valueOf<Other>(7)), STATUS_WITHDRAWN);
        driven::settle();
        EXPECT_EQ(client.ear.take(), (std::vector<TypeParam>{this->values[2], this->values[0]}));
        EXPECT_EQ(client.end(), 0);
    }
}

TEST_P(LostTelevision, AnswersOnceWhatItOwes) {
    driven::publishAction(key);
    Client<ObjectAction> client(key);
    Strings expected;
    unsigned int id = 0;
    auto const invoke = [&](std::string const& answer) {
        EXPECT_EQ(client->invoke(id, {}), 0);
        expected.push_back(std::to_string(id) + answer);
    };
    driven::answerWith(Strings{"done"});
    invoke(" 0:done; ");
    driven::settle();
    driven::answerWith({});
    invoke(" error 126 ");
    invoke(" error 126 ");
    driven::settle();
    GetParam().lose();
    id = 7;
    EXPECT_EQ(client->invoke(id, {}), GetParam().status);
    EXPECT_EQ(id, 7U);
    driven::start();
    driven::withdraw(key);
    driven::settle();
    EXPECT_EQ(client->invoke(id, {}), STATUS_WITHDRAWN);
    GetParam().lose();
    driven::publishAction(key);
    driven::start();
    driven::answerWith(Strings{"again"});
    invoke(" 0:again; ");
    driven::settle();
    EXPECT_EQ(client.ear.take(), expected);
}

TEST_P(LostTelevision, TellsItsIteratorsWhichStayDestroyable) {
    driven::kill();
    driven::publishTable(key, {{"a"}});
    driven::start();  // It has made none yet, nor will the next one: that makes its first where this one did.
    Client<ObjectTable> table(key);
    Ear<TableIterator> oldEar;
    Ear<TableIterator> newEar;
    auto const iteratorFor = [&](Ear<TableIterator>* ear) { return table->createIterator({}, ear, {}, {}, {}); };
    TableIterator* const old = iteratorFor(&oldEar);
    TableIterator* const ending = iteratorFor(nullptr);
    ASSERT_TRUE(old != nullptr && ending != nullptr);
    driven::settle();
    GetParam().lose();
    old->readRow();
    EXPECT_EQ(table->destroyIterator(ending), 0);
    EXPECT_NE(table->destroyIterator(ending), 0);
    EXPECT_EQ(iteratorFor(&newEar), nullptr);
    driven::start();
    TableIterator* const renewed = iteratorFor(&newEar);
    ASSERT_NE(renewed, nullptr);
    old->seekToRow(0);
    EXPECT_EQ(table->destroyIterator(old), 0);
    renewed->requestTotalCount();
    driven::settle();
    driven::setRows(key, {});
    driven::settle();
    EXPECT_EQ(oldEar.take(), (Strings{"ready 0 ", "ready 126 "}));
    EXPECT_EQ(newEar.take(), (Strings{"ready 0 ", "count 1 ", "update 0 "}));
    EXPECT_EQ(table.ear.take(), Strings{"update 0 "});
    EXPECT_EQ(table->destroyIterator(renewed), 0);
}

/// Death tests are programs of their own, which have not used the platform yet.
using BusClientDeathTest = PlainValueTest<int>;

TEST_F(BusClientDeathTest, ConnectsWhenTheBusComes) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const use = [this] {
        driven::killBus();
        Client<int> early(key);
        ::setenv("NRX_BUS_ADDRESS", "unix:path=/elsewhere", 1);  // The environment was read, on the first thread.
        driven::publish(key, 7);
        driven::start();
        Client<int> late(key);
        bool const isConnected = early.status == STATUS_NO_BUS && late.status == 0 && late.read() == 7;
        std::exit(isConnected && threadsReading == 0 ? 0 : 1);
    };
    EXPECT_EXIT(use(), ::testing::ExitedWithCode(0), "");
}

TEST_F(BusClientDeathTest, FollowsATelevisionOfATrustedUser) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::string const user = std::to_string(::getuid());
    std::string const other = std::to_string(::getuid() + 1);
    struct Row {
        std::string setting;
        int status;
        std::string line;
    };
    for (auto const& [setting, status, line] : {
             Row{"", STATUS_NOT_PUBLISHED, ""},
             Row{user, STATUS_NOT_PUBLISHED, ""},
             Row{::getpwuid(::getuid())->pw_name, STATUS_NOT_PUBLISHED, ""},
             Row{"any", STATUS_NOT_PUBLISHED, ""},
             Row{other, STATUS_NO_TELEVISION, ", expected user " + other},
             Row{"no one", STATUS_NOT_PUBLISHED,
                 "NRX_BUS_OWNER is \"no one\": expected a user's name or number, or any"},
         }) {
        SCOPED_TRACE(setting);
        auto const use = [this, &setting = setting] {
            setting.empty() ? 0 : ::setenv("NRX_BUS_OWNER", setting.c_str(), 1);
            std::exit(Client<int>(key).status);
        };
        EXPECT_EXIT(use(), ::testing::ExitedWithCode(status), line);
    }
}

#ifdef NRX_FAILING_THREADS
TEST_F(BusClientDeathTest, NeedsTwoThreads) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const use = [this] {
        threadsLeft = 1;
        int const without = Client<int>(key).status;
        threadsLeft = INT_MAX;
        std::exit(without == STATUS_NO_RESOURCES && Client<int>(key).status == STATUS_NOT_PUBLISHED ? 0 : 1);
    };
    EXPECT_EXIT(use(), ::testing::ExitedWithCode(0), "");
}
#endif

TEST_F(BusClientDeathTest, LeavesTheSignalsOfFaultsToTheHost) {
    driven::publish(key, 0);
    Client<int> client(key);
    std::promise<sigset_t> blocked;
    client.ear.then = [&] {
        sigset_t mask{};
        ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        blocked.set_value(mask);
    };
    driven::set(key, 1);
    sigset_t const mask = await(blocked.get_future());
    EXPECT_TRUE(::sigismember(&mask, SIGTERM) == 1 && ::sigismember(&mask, SIGCHLD) == 1);
    for (int const fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        EXPECT_EQ(::sigismember(&mask, fault), 0) << fault;
    }
}

}  // namespace
}  // namespace test
