// The layer in client/, with every television.

#include <numeric>
#include <optional>
#include <thread>
#include <tuple>

#include "client/action.h"
#include "client/property.h"
#include "client/table.h"
#include "television_driver.h"

namespace test::client_contract_test {

using namespace orvane::client;
using namespace std::chrono_literals;

constexpr auto LONG = 60s;  ///< No wait takes so long.

std::string shown(Answer const& answer) {
    return answer ? std::accumulate(answer->begin(), answer->end(), ""s) : describe(answer.error());
}

template <typename T>
struct ClientLayer : PlainValueTest<T> {
    /// Returns when no handler runs or waits.
    void sync() {
        driver::sync();
        while (tasks != 0) {
            std::this_thread::yield();
        }
    }

    std::atomic<int> tasks = 0;
    /// None, and one with a thread for every task: the layer alone keeps the calls in order.
    Executor const executors[2]{{}, [this](std::function<void()> task) {
                                    ++tasks;
                                    std::thread([this, task = std::move(task)] { task(), --tasks; }).detach();
                                }};
};
TYPED_TEST_SUITE(ClientLayer, PlainTypes, );

TYPED_TEST(ClientLayer, APropertyReadsWritesAndWatches) {
    using Other = std::conditional_t<std::is_same_v<TypeParam, std::string>, int, std::string>;
    auto const ignore = [](auto const& /*value*/) {};
    auto const lineOf = [this](char const* operation, int status) {
        return operation + " "s + this->key + ": status " + std::to_string(status);
    };
    auto const& list = this->values;
    for (Executor const& executor : this->executors) {
        std::vector<TypeParam> received;
        Property<TypeParam> property(this->key, executor);
        EXPECT_EQ(describe(property.connect(1ms).error()), lineOf("connect", 5));
        driver::publish(this->key, list[0]);
        EXPECT_EQ(describe(Property<Other>(this->key).watch(ignore).error()), lineOf("watch", 6));
        if constexpr (!std::is_arithmetic_v<TypeParam>) {  // The model has no status for a number.
            driver::failReads(this->key, 42);
            EXPECT_EQ(describe(property.get().error()), lineOf("get", 42));
            EXPECT_EQ(describe(property.watch(ignore).error()), lineOf("watch", 42));
            driver::failReads(this->key, 0);
        }
        driver::set(this->key, list[1]);  // Before the watch.
        driver::sync();
        EXPECT_TRUE(
            property.watch([&, moved = std::make_unique<int>()](TypeParam value) { received.push_back(value); }));
        EXPECT_EQ(property.watch(ignore).error().cause, Cause::WATCHED_ALREADY);
        EXPECT_TRUE(property.set(list[2]) && property.get().value_or(list[0]) == list[2]);
        driver::set(this->key, list[0]);
        this->sync();
        EXPECT_EQ(received, (std::vector<TypeParam>{list[1], list[2], list[0]}));
        driver::withdraw(this->key);
        driver::sync();
        EXPECT_EQ(describe(property.set(list[1]).error()), lineOf("set", television::STATUS_WITHDRAWN));
    }
}

using ClientLifetime = ClientLayer<int>;

TEST_F(ClientLifetime, AnObjectEndsInItsHandlerOrAfterIt) {
    enum { FIRST, CHANGE, ANSWER, REFUSAL, ROWS, OTHER_THREAD };
    driver::publishAction(key + ".action");
    driver::publishTable(key + ".table", {});
    driver::answerWith(Strings{"done"});
    for (Executor const& executor : executors) {
        for (int const place : {FIRST, CHANGE, ANSWER, REFUSAL, ROWS, OTHER_THREAD}) {
            SCOPED_TRACE(place);
            driver::publish(key, FIRST);
            driver::failInvokes(key + ".action", place == REFUSAL ? 7 : 0);
            std::promise<std::string> handled;
            std::promise<void> release;
            std::atomic<bool> isLeft = false;
            auto property = std::make_unique<Property<int>>(key, executor);
            auto action = std::make_unique<Action>(key + ".action", executor);
            auto table = std::make_unique<Table>(key + ".table", executor);
            auto const handle = [&, place, captured = std::string(100, 'x')](int here) {
                if (here == place) {
                    (here == ROWS ? table.reset() : here <= CHANGE ? property.reset() : action.reset());
                    handled.set_value(captured);  // Exists until the handler returns. Throws in a second call.
                } else if (here == CHANGE && place == OTHER_THREAD) {
                    handled.set_value(captured);
                    release.get_future().wait();
                    isLeft = true;
                }
            };
            auto const onAnswer = [handle](Answer const& answer) { handle(answer ? ANSWER : REFUSAL); };
            EXPECT_TRUE(property->watch(handle));
            EXPECT_TRUE(table->watch([handle](int /*update*/) { handle(ROWS); }));
            place == ANSWER || place == REFUSAL ? action->call({}, onAnswer)
            : place == ROWS                     ? driver::setRows(key + ".table", {{"row"}})
                                                : driver::set(key, CHANGE);
            EXPECT_EQ(handled.get_future().get(), std::string(100, 'x'));
            auto ending = std::async(std::launch::async, [&] { return property.reset(), isLeft.load(); });
            for (int cycle = 0; cycle < 200; ++cycle) {  // So often that the other one would return if it did not wait.
                EXPECT_TRUE(Property<int>(key).get());
            }
            EXPECT_TRUE(place != OTHER_THREAD || ending.wait_for(0s) != std::future_status::ready);
            release.set_value();
            EXPECT_EQ(ending.get(), place == OTHER_THREAD);
            sync();
        }
    }
}

TEST_F(ClientLifetime, CallsThatWaitInAnExecutorEndWithTheirObject) {
    driver::publish(key, 0);
    driver::publishAction(key + ".action");
    driver::answerWith(Strings{"done"});
    driver::failInvokes(key + ".action", 0);
    for (bool const endsInHandler : {false, true}) {
        std::vector<std::function<void()>> waiting;
        Executor const executor = [&waiting](std::function<void()> task) { waiting.push_back(std::move(task)); };
        auto property = std::make_unique<Property<int>>(key, executor);
        auto action = std::make_unique<Action>(key + ".action", executor);
        int calls = 0;
        auto const end = [&] { property.reset(), action.reset(); };
        auto const owned = std::make_shared<int>();
        auto const count = [&, owned](auto const& /*value*/) { ++calls, end(); };
        EXPECT_TRUE(property->watch(count));
        action->call({}, count);
        driver::set(key, 1);
        driver::sync();
        EXPECT_GE(waiting.size(), 3U);
        endsInHandler ? waiting.front()() : end();
        EXPECT_EQ(owned.use_count(), 2);  // The handlers are gone, only `count` is left.
        std::for_each(waiting.begin(), waiting.end(), [](auto const& task) { task(); });
        EXPECT_EQ(calls, endsInHandler ? 1 : 0);
    }
}

TEST_F(ClientLifetime, ACallEndsWithItsAnswerOrSaysWhyNot) {
    using Outcome = std::tuple<driver::Answer, int, char const*>;
    std::string const name = "call " + key + ": ";
    driver::publish(key + ".value", 0);
    driver::publishAction(key);
    Action action(key);
    std::string received;
    auto const receive = [&received](Answer const& answer) { received = shown(answer); };
    for (auto const& [answer, refusal, expected] : {Outcome{Strings{"one", "two"}, 0, "onetwo"},
                                                    {42, 0, "execution error 42"},
                                                    {Strings{"three"}, 7, "status 7"}}) {
        driver::answerWith(answer);
        driver::failInvokes(key, refusal);
        std::string const line = answer.index() == 1 && refusal == 0 ? expected : name + expected;
        EXPECT_EQ(shown(action.call({"a", ""}, LONG)), line);
        action.call({"b"}, receive);
        driver::sync();
        EXPECT_EQ(received, line);
    }
    EXPECT_EQ(driver::lastArguments(), Strings{"0: b"});
    driver::failInvokes(key, 0);
    EXPECT_EQ(shown(action.call(Arguments(MOST_ARGUMENTS + 1), LONG)), name + "status 6");
    EXPECT_EQ(shown(Action("none").call({}, 1ms)), "call none: status 5");

    std::promise<void> entered;
    std::promise<void> release;
    Property<int> blocking(key + ".value");
    EXPECT_TRUE(
        blocking.watch([&](int value) { value != 0 ? entered.set_value(), release.get_future().wait() : void(); }));
    driver::set(key + ".value", 1);
    entered.get_future().wait();  // Now answers are late.
    action.call({}, receive);
    EXPECT_EQ(shown(action.call({}, 1ms)), name + "no answer in time");
    driver::answerWith(Strings{"later"});
    release.set_value();
    EXPECT_EQ(shown(action.call({}, LONG)) + received, "laterthree");
}

TEST_F(ClientLifetime, RowsArriveInPagesAndNothingWaitsForTheDeliveryThreadOnIt) {
    std::vector<Row> all;
    while (all.size() < 250) {
        all.push_back({std::to_string(all.size()), "", "x"});
    }
    driver::publish(key, 0);
    driver::publishTable(key + ".table", all);
    driver::publishAction(key + ".action");
    Table table(key + ".table");
    std::atomic<int> changes = 0;
    EXPECT_TRUE(table.watch([&changes](int /*update*/) { ++changes; }));
    for (int const page : {1, 40, 125, 250, 300}) {
        auto rows = table.rows({2, 0}, page, LONG);
        std::size_t count = 0;
        for (Row const& row : rows) {
            ASSERT_EQ(row, (Row{"x", all.at(count++)[0]}));
        }
        EXPECT_TRUE(rows.result() && count == all.size());
    }
    Action action(key + ".action");
    std::vector<Cause> causes;
    Property<int> property(key);
    EXPECT_TRUE(property.watch([&](int value) {
        auto rows = table.rows({}, 40, LONG);
        if (value == 1) {  // On the delivery thread.
            causes = {(rows.begin() != rows.end() ? Result<void>() : rows.result()).error().cause,
                      action.call({}, LONG).error().cause};
        }
    }));
    driver::setRows(key + ".table", {});
    driver::set(key, 1);
    driver::sync();
    EXPECT_EQ(causes, (std::vector{Cause::WOULD_DEADLOCK, Cause::WOULD_DEADLOCK}));
    EXPECT_EQ(changes, 1);
    auto none = table.rows({}, 40, LONG);
    EXPECT_TRUE(!(none.begin() != none.end()) && none.result());
    EXPECT_EQ(Table(key).watch([](int) {}).error().code, 6);
}

}  // namespace test::client_contract_test
