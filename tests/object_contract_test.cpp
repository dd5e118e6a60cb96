// The simulated and the D-Bus television serve actions and tables. Only the D-Bus television refuses invalid texts.

#include <climits>
#include <set>

#include "television/log.h"
#include "television_driver.h"

namespace test::object_contract_test {

TEST(ActionContract, AnswersComeInOrderUnderTheirNumbers) {
    driver::publishAction(keyOfCurrentTest());
    Client<ObjectAction> client(keyOfCurrentTest());
    Client<ObjectAction> other(keyOfCurrentTest());
    Strings expected;
    std::set<unsigned int> ids;
    auto const invoke = [&](driver::Answer const& answer, std::string const& text) {
        driver::setInvokeAnswer(answer);
        for (int count = 0; count < 20; ++count) {
            unsigned int id = 0;
            EXPECT_EQ(client->invoke(id, {{0, 0, 0, "first"}, {-5, 127, -128, "last"}}), 0);
            EXPECT_TRUE(ids.insert(id).second);
            text.empty() ? void() : expected.push_back(std::to_string(id) + text);
        }
    };
    invoke(Strings{"one", "", "\U0001F4FA"}, " 0:one;1:;2:\U0001F4FA; ");
    invoke(42, " error 42 ");
    invoke(Strings(), "  ");
    invoke({}, "");
    driver::waitForNotifications();
    EXPECT_EQ(driver::lastInvokeArguments(), (Strings{"0: first", "127: last"}));
    unsigned int id = 7;
    driver::failInvokes(keyOfCurrentTest(), 42);
    EXPECT_EQ(client->invoke(id, {}), 42);
    driver::failInvokes(keyOfCurrentTest(), 0);
    driver::withdraw(keyOfCurrentTest());
    EXPECT_NE(client->invoke(id, {}), 0);
    EXPECT_EQ(id, 7U);
    EXPECT_EQ(client.take(), expected);
    EXPECT_EQ(other.take(), expected);
}

TEST(TableContract, RowsAreReadThroughIterators) {
    driver::publishTable(keyOfCurrentTest(), {{"a", "1"}, {"b", "2"}, {"c", ""}});
    Client<ObjectTable> table(keyOfCurrentTest());
    IteratorObserver rowObserver;
    IteratorObserver columnObserver;
    TableIterator* const rows = table->createIterator({}, &rowObserver, {{1, 2, "text"}}, {}, {{3, 4}});
    TableIterator* const column = table->createIterator({}, &columnObserver, {}, {1, 7}, {});
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
    EXPECT_EQ(driver::received(rowObserver),
              (Strings{"ready 0 ", "count 3 ", R"(read { "a", "1" } )", "row 1 ", "cursor 1 ",
                       R"(chunk { { "b", "2" }, { "c", "" } } )", R"(chunk { { "b", "2" } } )", "chunk {} ", "row -1 ",
                       "cursor -1 ", "read {} ", "chunk {} ", "content 1 ", R"(read { "b", "2" } )", "content -1 ",
                       "row -1 ", "cursor -1 ", "commit 0 "}));
    EXPECT_EQ(columnObserver.take(), (Strings{"ready 0 ", "content -1 ", "content 1 ", R"(read { "2", "" } )"}));

    driver::setRows(keyOfCurrentTest(), {{"new", "row"}});
    rows->requestTotalCount();
    driver::waitForNotifications();
    EXPECT_EQ(table->destroyIterator(column), 0);
    EXPECT_NE(table->destroyIterator(nullptr), 0);
    std::set stale{column};
    for (int count = 1; count < 1'000; ++count) {
        TableIterator* const newer = makeIterator(table, &columnObserver);
        EXPECT_TRUE(stale.insert(newer).second);
        EXPECT_EQ(table->destroyIterator(newer), 0);
    }
    driver::waitForNotifications();
    columnObserver.received.resize(1);  // Drops "ready 0 ", which some iterators may send before they are destroyed.
    for (TableIterator* const iterator : stale) {
        iterator->readRow();
        EXPECT_NE(table->destroyIterator(iterator), 0);
    }
    driver::setRows(keyOfCurrentTest(), {});
    EXPECT_EQ(driver::received(rowObserver), (Strings{"update 0 ", "count 1 ", "update 0 "}));
    EXPECT_EQ(columnObserver.take(), Strings{"update 0 "});
    EXPECT_EQ(table.take(), (Strings{"update 0 ", "update 0 "}));

    driver::withdraw(keyOfCurrentTest());
    rows->requestTotalCount();
    EXPECT_EQ(makeIterator(table, &columnObserver), nullptr);
    driver::waitForNotifications();
    EXPECT_EQ(table->destroyIterator(rows), 0);
    EXPECT_TRUE(rowObserver.take().empty() && columnObserver.take().empty());
}

TEST(TextContract, TextsThatTheBusDoesNotCarryAreRefusedAndLogged) {
    auto text = driver::publishAndConnect(keyOfCurrentTest() + ".text", "before"s);
    auto list = driver::publishAndConnect(keyOfCurrentTest() + ".list", Strings{"before"});
    driver::publishAction(keyOfCurrentTest() + ".action");
    driver::publishTable(keyOfCurrentTest() + ".table", {});
    Client<ObjectAction> const action(keyOfCurrentTest() + ".action");
    Client<ObjectTable> const table(keyOfCurrentTest() + ".table");
    IteratorObserver observer;
    TableIterator* const iterator = makeIterator(table, &observer);
    EXPECT_EQ(driver::received(observer), Strings{"ready 0 "});

    bool const carried = driver::supportsArbitraryText();
    television::LogCapture log([](auto const& record) { return (record.levelCode & 0xFFFF) == 1000; });  // Only errors.
    for (std::string const& bad : {"a\0b"s, "\xff"s, "\xc3"s, "\xed\xa0\x80"s, "\xef\xbf\xbf"s}) {
        unsigned int id = 0;
        Strings const texts{"good", bad};
        std::function<bool()> const uses[] = {
            [&] { return text.write(bad) == 0; },
            [&] { return list.write(texts) == 0; },
            [&] {
                return action->invoke(id, {{0, 0, 0, "good"}, {0, 1, 0, bad}}) == 0 && id != 0;
            },
            [&] {
                return table->createIterator({}, nullptr, {{0, 0, bad}}, {}, {}) != nullptr;
            },
            [&] {
                iterator->seekToContent(bad);
                return driver::received(observer) == Strings{"content -1 "};
            },
        };
        for (auto const& use : uses) {
            EXPECT_EQ(use(), carried);
            EXPECT_EQ(log.take().size(), carried ? 0U : 1U);
        }
        EXPECT_EQ(text.read(), carried ? bad : "before");
        EXPECT_EQ(list.read(), carried ? texts : Strings{"before"});
        EXPECT_EQ(text.take().size() + list.take().size(), carried ? 2U : 0U);
    }
    EXPECT_EQ(table->destroyIterator(iterator), 0);
}

}  // namespace test::object_contract_test
