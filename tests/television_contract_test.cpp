// What every television here keeps to, through the platform's interfaces alone.

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <limits>
#include <set>
#include <thread>

#include "driven_television.h"
#include "television/log.h"
#include "television_clients.h"

namespace test {
namespace {

constexpr int MANY = 500;
constexpr int REFUSAL = 42;

/// The values at the edges of a type.
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

TYPED_TEST(PlainValueContract, CarriesEveryValueBothWays) {
    Client<TypeParam> const early(this->key);
    driven::publish(this->key, EDGES<TypeParam>.back());
    Client<TypeParam> client(this->key);
    Client<TypeParam> other(this->key);
    Client<ObjectTable> deaf(this->key);
    EXPECT_TRUE(early.status != 0 && early.object == nullptr && deaf.status == 0);
    EXPECT_TRUE(client.type() == client.ear.TYPE && deaf.type() == client.ear.TYPE);
    EXPECT_TRUE(client.read() == EDGES<TypeParam>.back());
    for (TypeParam const& edge : EDGES<TypeParam>) {
        driven::set(this->key, edge);
        driven::set(this->key, edge);  // Is told even so.
        EXPECT_TRUE(client.read() == edge);
        driven::set(this->key, this->values[0]);
        EXPECT_EQ(client.write(edge), 0);
        EXPECT_TRUE(other.read() == edge);
        driven::settle();
        std::vector<TypeParam> const all{edge, edge, this->values[0], edge};
        EXPECT_TRUE(client.ear.take() == all && other.ear.take() == all);  // Who writes hears it, too.
    }
    EXPECT_TRUE(deaf.ear.take().empty() && early.ear.heard.empty());
    if constexpr (!std::is_arithmetic_v<TypeParam>) {
        TypeParam variable = this->values[0];
        driven::failReads(this->key, REFUSAL);
        EXPECT_EQ(client.read(variable), REFUSAL);
        EXPECT_EQ(variable, this->values[0]);
    }
}

TYPED_TEST(PlainValueContract, TellsAllChangesToAllInOneOrder) {
    driven::publish(this->key, this->values[0]);
    Client<TypeParam> client(this->key);
    Client<TypeParam> other(this->key);
    std::vector<TypeParam> expected;
    for (int number = 1; number <= 2 * MANY; ++number) {
        expected.push_back(valueOf<TypeParam>(number));
    }
    auto const middle = expected.begin() + MANY;
    std::thread writer(
        [&] { std::for_each(middle, expected.end(), [&](auto const& value) { EXPECT_EQ(client.write(value), 0); }); });
    std::for_each(expected.begin(), middle, [&](auto const& value) { driven::set(this->key, value); });
    writer.join();
    driven::settle();
    auto heard = client.ear.take();
    EXPECT_EQ(heard, other.ear.take());
    EXPECT_EQ(heard.empty() ? this->values[0] : heard.back(), client.read());
    std::stable_partition(heard.begin(), heard.end(),
                          [&](auto const& value) { return std::find(expected.begin(), middle, value) != middle; });
    EXPECT_EQ(heard, expected);
}

TYPED_TEST(PlainValueContract, LeavesThePointerToWhatWasWithdrawn) {
    driven::publish(this->key, this->values[0]);
    Client<TypeParam> old(this->key);
    auto const expectGone = [&] {
        driven::settle();
        TypeParam variable = this->values[2];
        EXPECT_TRUE(old.read(variable) != 0 || std::is_arithmetic_v<TypeParam>);  // Numbers have no status.
        EXPECT_TRUE(variable == this->values[2] || std::is_arithmetic_v<TypeParam>);
        EXPECT_NE(old.write(variable), 0);
    };
    driven::withdraw(this->key);
    expectGone();
    EXPECT_NE(Client<TypeParam>(this->key).status, 0);
    driven::publish(this->key, this->values[0]);
    Client<TypeParam> renewed(this->key);
    driven::set(this->key, this->values[1]);
    expectGone();
    EXPECT_EQ(renewed.read(), this->values[1]);
    EXPECT_EQ(renewed.write(this->values[2]), 0);
    driven::settle();
    EXPECT_EQ(renewed.ear.take(), (std::vector<TypeParam>{this->values[1], this->values[2]}));
    EXPECT_TRUE(old.ear.take().empty());
    EXPECT_EQ(old.end(), 0);
    driven::publishAction(this->key);  // In its place.
    driven::settle();
    EXPECT_EQ(Client<ObjectAction>(this->key).type(), OBJECT_TYPE_ACTION);
    EXPECT_NE(renewed.write(this->values[0]), 0);
}

TEST(ProcessContract, HasNoOtherInterface) {
    boost::shared_ptr<frame::Interface> other;
    EXPECT_NE(frame::Process::getInstance().getInterfaceReference(other, "other"), 0);
    EXPECT_EQ(other, nullptr);
}

using ConnectionContract = PlainValueContract<int>;

TEST_F(ConnectionContract, EndsAllOfAnObserversWithAnObject) {
    driven::publish(key, 0);
    driven::publish(key + ".other", 0);
    Client<int> client(key);
    Client<int> other(key + ".other");
    Object* again = nullptr;
    EXPECT_EQ(connectTo(key, &client.ear, again), 0);
    auto const heardOf = [&](int value) {
        driven::set(key, value);
        driven::settle();
        return client.ear.take();
    };
    EXPECT_NE(root().disconnectObject(key, &other.ear, client.object), 0);  // Was never connected there.
    EXPECT_NE(root().disconnectObject(key, &client.ear, other.object), 0);
    EXPECT_EQ(root().disconnectObject(key, &other.ear, nullptr), 0);
    EXPECT_EQ(heardOf(1), (Integers{1, 1}));
    EXPECT_EQ(client.end(), 0);
    EXPECT_NE(client.end(), 0);
    EXPECT_EQ(heardOf(2), Integers());
    EXPECT_EQ(connectTo(key, &client.ear, again), 0);
    EXPECT_EQ(heardOf(3), Integers{3});
    EXPECT_EQ(root().disconnectObject(key, &client.ear, nullptr), 0);
    EXPECT_EQ(heardOf(4), Integers());
}

TEST_F(ConnectionContract, WaitsForTheCallToTheObserverAlone) {
    driven::publish(key, 0);
    Client<int> client(key);
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> left = false;
    client.ear.then = [&] {
        entered.set_value();
        await(release.get_future());
        left = true;
    };
    driven::set(key, 1);
    await(entered.get_future());
    auto ending = std::async(std::launch::async, [&] { return client.end() == 0 && left; });
    await(std::async(std::launch::async, [&] {  // So often that the other would be back if it did not wait.
        for (int cycle = 0; cycle < MANY; ++cycle) {
            EXPECT_EQ(Client<int>(key).end(), 0);
        }
    }));
    EXPECT_NE(ending.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    release.set_value();
    EXPECT_TRUE(await(std::move(ending)));
}

TEST_F(ConnectionContract, MayBeUsedFromInsideANotification) {
    driven::publish(key, 0);
    driven::publish(key + ".text", "before"s);
    driven::publishAction(key + ".action");
    driven::publishTable(key + ".table", {{"a"}});
    driven::answerWith(Strings{"done"});
    Client<int> client(key);
    Client<int> other(key);
    Ear<TableIterator> rows;
    std::unique_ptr<Client<std::string>> text;
    std::unique_ptr<Client<ObjectAction>> action;
    std::promise<unsigned int> done;
    client.ear.then = [&] {
        text = std::make_unique<Client<std::string>>(key + ".text");
        EXPECT_EQ(text->read(), "before");
        EXPECT_EQ(text->write("after"), 0);
        action = std::make_unique<Client<ObjectAction>>(key + ".action");
        unsigned int id = 0;
        EXPECT_EQ((*action)->invoke(id, {}), 0);
        Client<ObjectTable> const table(key + ".table");
        EXPECT_EQ(table->destroyIterator(table->createIterator({}, &rows, {}, {}, {})), 0);
        EXPECT_EQ(other.end(), 0);
        EXPECT_EQ(client.end(), 0);
        done.set_value(id);
    };
    driven::set(key, 1);
    driven::set(key, 2);
    unsigned int const id = await(done.get_future());
    driven::settle();
    EXPECT_EQ(client.ear.take(), Integers{1});
    EXPECT_TRUE(other.ear.take().empty() && rows.take().empty());
    EXPECT_EQ(text->ear.take(), Strings{"after"});
    EXPECT_EQ(action->ear.take(), Strings{std::to_string(id) + " 0:done; "});
}

using SlowHandlerContract = PlainValueContract<std::string>;

TEST_F(SlowHandlerContract, HearsTheNewestChangesAboveTheBound) {
    constexpr int COUNT = 80;
    constexpr std::size_t SIZE = 1'048'576;
    char const* const setting = std::getenv("NRX_DELIVERY_LIMIT");
    int const kept = setting != nullptr && setting == "1000"s ? 1 : 63;  // What is queued has a size, too.
    driven::publish(key, "");
    driven::publish(key + ".other", 0);
    Client<std::string> slow(key);
    Client<std::string> twin(key);  // The same change counts once.
    Client<int> other(key + ".other");
    std::promise<void> entered;
    std::promise<void> release;
    slow.ear.then = [&, isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) {
            entered.set_value();
            await(release.get_future());
        }
    };
    Strings lines;
    television::setLogSink([&](int /*severity*/, std::string const& line) { lines.push_back(line); });
    Integers expected{1};
    for (int number = 1; number <= COUNT; ++number) {
        EXPECT_EQ(slow.write(std::to_string(number) + std::string(SIZE, '.')), 0);
        number == 1 ? await(entered.get_future()) : void();
        number > COUNT - kept ? expected.push_back(number) : void();
        EXPECT_TRUE(number != 2 || other.write(1) == 0);
    }
    driven::publish(key + ".last", 0);
    EXPECT_EQ(Client<int>(key + ".last").status, 0);  // By then all changes have come here.
    release.set_value();
    driven::settle();
    television::setLogSink({});
    for (auto* each : {&slow, &twin}) {
        Integers heard;
        for (std::string const& text : each->ear.take()) {
            heard.push_back(std::stoi(text));
        }
        EXPECT_EQ(heard, expected);
    }
    EXPECT_EQ(other.ear.take(), Integers{1});  // It is not this one that takes the room.
    std::string const dropped = std::to_string(COUNT - 1 - kept);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find("older changes give way to newer ones"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find(": " + dropped + " changes gave way"), std::string::npos) << lines[1];
}

TEST(ActionContract, AnswersComeInOrderUnderTheirNumbers) {
    driven::publishAction(testKey());
    Client<ObjectAction> client(testKey());
    Client<ObjectAction> other(testKey());
    Strings expected;
    std::set<unsigned int> ids;
    auto const invoke = [&](driven::Answer const& answer, std::string const& text) {
        driven::answerWith(answer);
        for (int count = 0; count < 20; ++count) {
            unsigned int id = 0;
            EXPECT_EQ(client->invoke(id, {{0, 0, 0, "first"}, {-5, 127, -128, "last"}}), 0);
            EXPECT_TRUE(ids.insert(id).second);
            text.empty() ? void() : expected.push_back(std::to_string(id) + text);
        }
    };
    invoke(Strings{"one", "", "\U0001F4FA"}, " 0:one;1:;2:\U0001F4FA; ");
    invoke(REFUSAL, " error 42 ");
    invoke(Strings(), "  ");
    invoke({}, "");
    driven::settle();
    EXPECT_EQ(driven::lastArguments(), (Strings{"0: first", "127: last"}));
    unsigned int id = 7;
    driven::failInvokes(testKey(), REFUSAL);
    EXPECT_EQ(client->invoke(id, {}), REFUSAL);
    driven::failInvokes(testKey(), 0);
    driven::withdraw(testKey());
    EXPECT_NE(client->invoke(id, {}), 0);
    EXPECT_EQ(id, 7U);
    EXPECT_EQ(client.ear.take(), expected);
    EXPECT_EQ(other.ear.take(), expected);
}

TEST(TableContract, RowsAreReadThroughIterators) {
    driven::publishTable(testKey(), {{"a", "1"}, {"b", "2"}, {"c", ""}});
    Client<ObjectTable> table(testKey());
    Ear<TableIterator> ear;
    Ear<TableIterator> columnEar;
    TableIterator* const rows = table->createIterator({}, &ear, {{1, 2, "text"}}, {}, {{3, 4}});
    TableIterator* const column = table->createIterator({}, &columnEar, {}, {1, 7}, {});
    ASSERT_TRUE(rows != nullptr && column != nullptr);
    rows->requestTotalCount();
    rows->readRow();
    rows->seekToRow(1);
    rows->readRowChunk(9);
    rows->readRowChunk(1);
    rows->readRowChunk(-1);
    rows->seekToRow(3);
    rows->readRow();
    rows->readRowChunk(1);
    rows->seekToContent("2");
    rows->readRow();
    rows->seekToContent("none");
    rows->seekToRow(INT_MIN);
    rows->commit();
    column->seekToContent("a");
    column->seekToContent("2");
    column->readRow();
    driven::settle();
    EXPECT_EQ(ear.take(), (Strings{"ready 0 ", "count 3 ", R"(read { "a", "1" } )", "row 1 ", "cursor 1 ",
                                   R"(chunk { { "b", "2" }, { "c", "" } } )", R"(chunk { { "b", "2" } } )", "chunk {} ",
                                   "row -1 ", "cursor -1 ", "read {} ", "chunk {} ", "content 1 ",
                                   R"(read { "b", "2" } )", "content -1 ", "row -1 ", "cursor -1 ", "commit 0 "}));
    EXPECT_EQ(columnEar.take(), (Strings{"ready 0 ", "content -1 ", "content 1 ", R"(read { "2", "" } )"}));

    driven::setRows(testKey(), {{"new", "row"}});
    rows->requestTotalCount();
    driven::settle();
    EXPECT_EQ(table->destroyIterator(column), 0);
    EXPECT_NE(table->destroyIterator(nullptr), 0);
    std::set stale{column};
    for (int count = 1; count < 1'000; ++count) {
        TableIterator* const newer = table->createIterator({}, &columnEar, {}, {}, {});
        EXPECT_TRUE(stale.insert(newer).second);
        EXPECT_EQ(table->destroyIterator(newer), 0);
    }
    driven::settle();
    columnEar.heard.resize(1);  // It may have heard that some were ready.
    for (TableIterator* const iterator : stale) {
        iterator->readRow();
        EXPECT_NE(table->destroyIterator(iterator), 0);
    }
    driven::setRows(testKey(), {});
    driven::settle();
    EXPECT_EQ(ear.take(), (Strings{"update 0 ", "count 1 ", "update 0 "}));
    EXPECT_EQ(columnEar.take(), Strings{"update 0 "});
    EXPECT_EQ(table.ear.take(), (Strings{"update 0 ", "update 0 "}));

    driven::withdraw(testKey());
    rows->requestTotalCount();
    EXPECT_EQ(table->createIterator({}, &columnEar, {}, {}, {}), nullptr);
    driven::settle();
    EXPECT_EQ(table->destroyIterator(rows), 0);
    EXPECT_TRUE(ear.take().empty() && columnEar.take().empty());
}

TEST(TextContract, WhatIsNotCarriedIsRefusedWholeAndLogged) {
    driven::publish(testKey() + ".text", "before"s);
    driven::publish(testKey() + ".list", Strings{"before"});
    driven::publishAction(testKey() + ".action");
    driven::publishTable(testKey() + ".table", {});
    Client<std::string> text(testKey() + ".text");
    Client<Strings> list(testKey() + ".list");
    Client<ObjectAction> const action(testKey() + ".action");
    Client<ObjectTable> const table(testKey() + ".table");
    Ear<TableIterator> ear;
    TableIterator* const iterator = table->createIterator({}, &ear, {}, {}, {});
    driven::settle();
    EXPECT_EQ(ear.take(), Strings{"ready 0 "});

    bool const carried = driven::carriesEveryText();
    std::atomic<int> lines = 0;
    television::setLogLevel(television::LogLevel::error);
    television::setLogSink([&](int /*severity*/, std::string const& /*line*/) { ++lines; });
    std::string before = "before";
    for (std::string const& bad : {"a\0b"s, "\xff"s, "\xc3"s, "\xed\xa0\x80"s, "\xef\xbf\xbf"s}) {
        unsigned int id = 0;
        Strings const texts{"good", bad};
        std::vector<Argument> const arguments{{0, 0, 0, "good"}, {0, 1, 0, bad}};
        std::vector<TableSelection> const selections{{0, 0, bad}};
        std::function<bool()> const uses[] = {
            [&] { return text.write(bad) == 0; },
            [&] { return list.write(texts) == 0; },
            [&] { return action->invoke(id, arguments) == 0 && id != 0; },
            [&] { return table->createIterator({}, nullptr, selections, {}, {}) != nullptr; },
            [&] {
                iterator->seekToContent(bad);
                driven::settle();
                return ear.take() == Strings{"content -1 "};
            },
        };
        for (auto const& use : uses) {
            EXPECT_EQ(use(), carried);
            EXPECT_EQ(lines.exchange(0), carried ? 0 : 1);
        }
        EXPECT_EQ(text.read(), carried ? bad : "before");
        EXPECT_EQ(list.read(), carried ? texts : Strings{"before"});
        EXPECT_EQ(text.ear.take().size() + list.ear.take().size(), carried ? 2U : 0U);
    }
    television::setLogSink({});
    EXPECT_EQ(table->destroyIterator(iterator), 0);
}

}  // namespace
}  // namespace test
