// Tests the layer in client/ with the simulator and with a television on a bus.

#include <numeric>
#include <thread>
#include <tuple>

#include "client/action.h"
#include "client/property.h"
#include "client/table.h"
#include "television_driver.h"

namespace test::client_contract_test {

using namespace orvane::client;
using namespace std::chrono_literals;

constexpr auto LONG = 60s;  ///< Longer than any wait.

std::string typeAndText(Answer const& answer) {
    return answer ? std::accumulate(answer->begin(), answer->end(), ""s) : describe(answer.error());
}

template <typename T>
struct ClientLayer : PlainValueTest<T> {
    std::string line(char const* operation, int status) {
        return operation + " "s + this->key + ": status " + std::to_string(status);
    }
    /// Returns when no handler runs or waits.
    void sync() {
        driver::waitForNotifications();
        while (tasks != 0) {
            std::this_thread::yield();
        }
    }
    std::atomic<int> tasks = 0;
    /// No executor, and an executor that starts a thread for each task. The layer must call the handlers in the order
    /// of the notifications, in whatever order the executor's threads run.
    Executor const executors[2]{{}, [this](std::function<void()> task) {
                                    ++tasks;
                                    std::thread([this, task = std::move(task)] { task(), --tasks; }).detach();
                                }};
};
TYPED_TEST_SUITE(ClientLayer, PlainTypes, );

TYPED_TEST(ClientLayer, APropertyReadsWritesAndWatches) {
    using Other = std::conditional_t<std::is_same_v<TypeParam, std::string>, int, std::string>;
    auto const ignore = [](auto const& /*value*/) {};
    auto const& list = this->values;
    for (Executor const& executor : this->executors) {
        std::vector<TypeParam> received;
        Property<TypeParam> property(this->key, executor);
        EXPECT_EQ(describe(property.connect(1ms).error()), this->line("connect", 5));
        driver::publish(this->key, list[0]);
        EXPECT_EQ(describe(Property<Other>(this->key).watch(ignore).error()), this->line("watch", 6));
        if constexpr (!std::is_arithmetic_v<TypeParam>) {  // The read of a number cannot report a failure.
            driver::failReads(this->key, 42);
            EXPECT_EQ(describe(property.get().error()), this->line("get", 42));
            EXPECT_EQ(describe(property.watch(ignore).error()), this->line("watch", 42));
            driver::failReads(this->key, 0);
        }
        driver::set(this->key, list[1]);  // `watch` passes this value first.
        driver::waitForNotifications();
        EXPECT_TRUE(
            property.watch([&, moved = std::make_unique<int>()](TypeParam value) { received.push_back(value); }));
        EXPECT_EQ(property.watch(ignore).error().cause, Cause::WATCHED_ALREADY);
        EXPECT_TRUE(property.set(list[2]) && property.get().value_or(list[0]) == list[2]);
        driver::set(this->key, list[0]);
        this->sync();
        EXPECT_EQ(received, (std::vector<TypeParam>{list[1], list[2], list[0]}));
        driver::withdraw(this->key);
        driver::waitForNotifications();
        EXPECT_EQ(describe(property.set(list[1]).error()), this->line("set", television::STATUS_WITHDRAWN));
    }
}

using ClientLifetime = ClientLayer<int>;

TEST_F(ClientLifetime, AnObjectEndsInItsHandlerOrAfterIt) {
    enum { FIRST, CHANGE, ANSWER, REFUSAL, ROWS, OTHER_THREAD };
    driver::publishAction(key + ".action");
    driver::publishTable(key + ".table", {});
    driver::setInvokeAnswer(Strings{"done"});
    for (int const place : {FIRST, CHANGE, ANSWER, REFUSAL, ROWS, OTHER_THREAD}) {
        for (Executor const& executor : executors) {
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
                    property.reset(), action.reset(), table.reset();
                    handled.set_value(captured);  // `captured` must still exist. `set_value` throws in a second call.
                } else if (here == CHANGE && place == OTHER_THREAD) {
                    handled.set_value(captured);
                    release.get_future().wait();
                    isLeft = true;
                }
            };
            EXPECT_TRUE(table->watch([handle](int /*update*/) { handle(ROWS); }));
            EXPECT_TRUE(property->watch(handle));
            if (place == ANSWER || place == REFUSAL) {
                action->call({}, [handle](Answer const& answer) { handle(answer ? ANSWER : REFUSAL); });
            }
            place == ROWS ? driver::setRows(key + ".table", {{"row"}}) : driver::set(key, CHANGE);
            EXPECT_EQ(handled.get_future().get(), std::string(100, 'x'));
            auto ending = std::async(std::launch::async, [&] { return property.reset(), isLeft.load(); });
            for (int cycle = 0; place == OTHER_THREAD && cycle < 200; ++cycle) {
                EXPECT_TRUE(Property<int>(key).get());  // Gives `ending` time to return.
            }
            EXPECT_TRUE(place != OTHER_THREAD || ending.wait_for(0s) != std::future_status::ready);
            release.set_value();
            EXPECT_EQ(ending.get(), place == OTHER_THREAD);
            sync();
        }
    }
}

TEST_F(ClientLifetime, CallsThatWaitEndWithTheirObject) {
    int calls = 0;
    std::vector<std::function<void()>> waiting;
    driver::publish(key, 0);
    auto property = std::make_unique<Property<int>>(key, [&](auto task) { waiting.push_back(std::move(task)); });
    EXPECT_TRUE(property->watch([&](int /*value*/) { ++calls, property.reset(); }));
    driver::set(key, 1);
    driver::waitForNotifications();
    std::for_each(waiting.begin(), waiting.end(), [](auto const& task) { task(); });
    EXPECT_EQ(calls, 1);
}

TEST_F(ClientLifetime, ACallEndsWithItsAnswerOrSaysWhyNot) {
    using Outcome = std::tuple<driver::Answer, int, std::string>;
    driver::publish(key + ".value", 0);
    driver::publishAction(key);
    Action action(key);
    std::string received;
    auto const receive = [&received](Answer const& answer) { received = typeAndText(answer); };
    for (auto const& [answer, refusal, expected] : {Outcome{Strings{"one", "two"}, 0, "onetwo"},
                                                    {42, 0, "call " + key + ": execution error 42"},
                                                    {Strings{"three"}, 7, line("call", 7)}}) {
        driver::setInvokeAnswer(answer);
        driver::failInvokes(key, refusal);
        EXPECT_EQ(typeAndText(action.call({"a", ""}, LONG)), expected);
        action.call({"b"}, receive);
        driver::waitForNotifications();
        EXPECT_EQ(received, expected);
    }
    EXPECT_EQ(driver::lastInvokeArguments(), Strings{"0: b"});
    driver::failInvokes(key, 0);
    EXPECT_EQ(typeAndText(action.call(Arguments(MOST_ARGUMENTS + 1), LONG)), line("call", 6));

    std::promise<void> release;
    Property<int> blocking(key + ".value");
    EXPECT_TRUE(blocking.watch([&](int value) { value != 0 ? release.get_future().wait() : void(); }));
    driver::set(key + ".value", 1);  // The handler of `blocking` delays all answers.
    action.call({}, receive);
    EXPECT_EQ(action.call({}, 500ms).error().cause, Cause::NO_ANSWER);
    driver::setInvokeAnswer(Strings{"later"});
    release.set_value();
    EXPECT_EQ(typeAndText(action.call({}, LONG)) + received, "laterthree");
}

TEST_F(ClientLifetime, RowsArriveInPagesAndNothingWaitsForTheDeliveryThreadOnIt) {
    std::vector<Row> all;
    while (all.size() < 250) {
        all.push_back({std::to_string(all.size()), "", "x"});
    }
    driver::publish(key, 0);
    driver::publishTable(key + ".table", all);
    Table table(key + ".table");
    std::vector<Cause> causes;
    EXPECT_TRUE(table.watch([&](int /*update*/) {
        auto rows = table.rows({}, 40, LONG);
        EXPECT_FALSE(rows.begin() != rows.end());
        causes = {rows.result().error().cause, Action(key).call({}, LONG).error().cause};
    }));
    for (int const page : {1, 40, 125, 300}) {
        auto rows = table.rows({2, 0}, page, LONG);
        std::size_t count = 0;
        for (Row const& row : rows) {
            ASSERT_EQ(row, (Row{"x", all.at(count++)[0]}));
        }
        EXPECT_TRUE(rows.result() && count == all.size());
    }
    driver::setRows(key + ".table", {});
    driver::waitForNotifications();
    EXPECT_EQ(causes, (std::vector{Cause::WOULD_DEADLOCK, Cause::WOULD_DEADLOCK}));
    auto none = table.rows({}, 40, LONG);
    EXPECT_TRUE(!(none.begin() != none.end()) && none.result());
    EXPECT_EQ(Table(key).watch([](int) {}).error().code, 6);
    driver::setRows(key + ".table", {{"a"}});
    Strings texts;
    for (Row const& row : table.rows({}, 40, LONG)) {  // The first page has fewer rows than requested.
        texts.push_back(row[0]);
        driver::setRows(key + ".table", {{"a"}, {"b"}});
    }
    EXPECT_EQ(texts, (Strings{"a", "b"}));
}

}  // namespace test::client_contract_test
