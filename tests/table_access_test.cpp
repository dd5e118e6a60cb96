#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"

#include <climits>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "simulator/table_iterator.h"
#include "support.h"

namespace test {
namespace {

using namespace orvane::system::support;
using namespace std::string_literals;

constexpr char KEY[] = "test.table";
constexpr char TABLE[] = "table_access.cpp";
constexpr char ITERATOR[] = "iterator_access.cpp";

simulator::Rows const ROWS{{"1", "one"}, {"2", "two"}, {"3", "three"}};

struct CountedTableHandler : TableHandler {};

TEST_F(TelevisionTest, ATableIsHandedOutWhileConnected) {
    tv.publishTable(KEY, ROWS);
    auto const handler = std::make_shared<CountedTableHandler>();
    TableAccess access(KEY, handler);
    EXPECT_EQ(handler.use_count(), 2);
    EXPECT_EQ(access.getAccess(), nullptr);
    ASSERT_EQ(access.connect(0), 0);
    EXPECT_NE(access.getAccess(), nullptr);
    tv.setRows(KEY, {});
    tv.waitUntilDelivered();
    EXPECT_EQ(logged(), traced(TABLE, "notifyUpdate"));
    EXPECT_EQ(access.setActionResultHandler(nullptr), 0);
    EXPECT_EQ(handler.use_count(), 1);
    access.disconnect();
    EXPECT_EQ(access.getAccess(), nullptr);

    tv.publish(KEY, 5);  // Not a table: taken all the same.
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_NE(access.getAccess(), nullptr);
    EXPECT_EQ(access.getType(), objbus::OBJECT_TYPE_NUMERIC_INTEGER);
    access.disconnect();
}

class RecordingIteratorHandler : public IteratorHandler {
public:
    void handleCommit(int status) override { add("commit", status); }
    void handleTotalCount(int count) override { add("count", count); }
    void handleSeekToRow(int row) override { add("row", row); }
    void handleSeekToContent(int row) override { add("content", row); }
    void handleCursorPosition(int row) override { add("cursor", row); }
    void handleReadRow(std::vector<std::string> const& row) override {
        lastRow = &row;
        calls.push_back("read " + text(row));
    }
    void handleReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) override {
        lastChunk = &rows;
        calls.emplace_back("chunk");
        for (auto const* const row : rows) {
            calls.back() += " " + text(*row);
        }
    }
    void handleIteratorReady(int status) override { add("ready", status); }
    void handleUpdate(int update) override { add("update", update); }

    std::vector<std::string> take() { return std::exchange(calls, {}); }

    std::vector<std::string> calls;
    void const* lastRow = nullptr;
    void const* lastChunk = nullptr;

private:
    void add(std::string const& name, int value) { calls.push_back(name + " " + std::to_string(value)); }
    static std::string text(std::vector<std::string> const& row) {
        std::string joinedTexts;
        for (std::string const& column : row) {
            joinedTexts += "|" + column;
        }
        return joinedTexts;
    }
};

class IteratorTest : public TelevisionTest {
public:
    ~IteratorTest() override { access.destroy(); }

    std::vector<std::string> delivered() {
        tv.waitUntilDelivered();
        return handler->take();
    }

    std::shared_ptr<RecordingIteratorHandler> handler = std::make_shared<RecordingIteratorHandler>();
    std::vector<objbus::TableSelection> selections{{1, -2, "sel"}, {INT_MIN, INT_MAX, ""}};
    std::vector<objbus::TableOrder> orders{{3, 4}};
    IteratorAccess access{KEY, handler, objbus::IteratorType{7}, selections, {1, 0, 9}, orders};
};

TEST_F(IteratorTest, ATablesIteratorReportsThroughTheHandler) {
    tv.publishTable(KEY, ROWS);
    ASSERT_EQ(access.create(), 0);
    auto const request = tv.iteratorRequest(KEY);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->type, objbus::IteratorType{7});
    EXPECT_EQ(request->columns, (std::vector{1, 0, 9}));
    ASSERT_EQ(request->selections.size(), 2U);
    EXPECT_EQ(request->selections[0].second, -2);
    EXPECT_EQ(request->selections[0].value, "sel");
    EXPECT_EQ(request->selections[1].first, INT_MIN);
    ASSERT_EQ(request->orders.size(), 1U);
    EXPECT_EQ(request->orders[0].second, 4);

    objbus::TableIterator* const iterator = access.getIterator();
    ASSERT_NE(iterator, nullptr);
    iterator->requestTotalCount();
    iterator->seekToContent("two");
    iterator->readRow();
    iterator->seekToRow(INT_MAX);
    iterator->seekToRow(0);
    iterator->readRowChunk(INT_MAX);
    iterator->commit();
    tv.setRows(KEY, {});
    EXPECT_EQ(delivered(), (Lines{"ready 0", "count 3", "content 1", "read |two|2|", "row -1", "cursor -1", "row 0",
                                  "cursor 0", "chunk |one|1| |two|2| |three|3|", "commit 0", "update 0"}));
    EXPECT_EQ(access.destroy(), 0);
    EXPECT_EQ(access.getIterator(), nullptr);
    EXPECT_EQ(access.destroy(), 0);
    EXPECT_EQ(tv.iteratorsDestroyed(KEY), 1);
}

TEST_F(IteratorTest, EachNotificationIsTracedAndPassedOnAsItIs) {
    std::vector<std::string> const row{"a"};
    std::vector<std::vector<std::string> const*> const chunk{&row};
    struct Notification {
        char const* name;
        std::function<void()> notify;
        std::string call;
    };
    std::vector<Notification> const notifications{
        {"notifyCommit", [&] { access.notifyCommit(-1); }, "commit -1"},
        {"notifyTotalCount", [&] { access.notifyTotalCount(2); }, "count 2"},
        {"notifySeekToRow", [&] { access.notifySeekToRow(7); }, "row 7"},
        {"notifySeekToContent", [&] { access.notifySeekToContent(8); }, "content 8"},
        {"notifyCursorPosition", [&] { access.notifyCursorPosition(9); }, "cursor 9"},
        {"notifyReadRow", [&] { access.notifyReadRow(row); }, "read |a"},
        {"notifyReadRowChunk", [&] { access.notifyReadRowChunk(chunk); }, "chunk |a"},
        {"notifyIteratorReady", [&] { access.notifyIteratorReady(3); }, "ready 3"},
        {"notifyUpdate", [&] { access.notifyUpdate(4); }, "update 4"},
    };
    for (bool const handled : {true, false}) {  // None of them asks whether there is an iterator.
        for (auto const& [name, notify, call] : notifications) {
            notify();
            EXPECT_EQ(logged(), traced(ITERATOR, name));
            EXPECT_EQ(handler->take(), handled ? Lines{call} : Lines{});
        }
        EXPECT_EQ(handler->lastRow, &row);
        EXPECT_EQ(handler->lastChunk, &chunk);
        access.setActionResultHandler(nullptr);
    }
    EXPECT_EQ(handler.use_count(), 1);
}

TEST_F(IteratorTest, NothingButCreateConnects) {
    EXPECT_EQ(access.connect(5000), 0);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(access.destroy(), 0);
    EXPECT_EQ(tv.lookups(), 0);
    EXPECT_EQ(logged(), Lines{});
}

TEST_F(IteratorTest, AFailedCreateLeavesEverythingAsItWas) {
    auto const failed = [](int status) {
        return error(ITERATOR, "create", "Error connect name : test.table,  status: " + std::to_string(status));
    };
    EXPECT_EQ(access.create(), 4);
    EXPECT_EQ(takeSleeps().size(), 10U);
    EXPECT_EQ(logged().back(), failed(5));
    EXPECT_EQ(access.getIterator(), nullptr);
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);

    tv.publish(KEY, "not a table"s);
    EXPECT_EQ(access.create(), 4);
    EXPECT_EQ(logged(), Lines{failed(6)});
    EXPECT_EQ(tv.counts(KEY).disconnects, 1);

    tv.publishTable(KEY, ROWS);
    ASSERT_EQ(access.create(), 0);
    auto* const iterator = access.getIterator();
    delivered();
    logged();
    tv.failConnects(KEY, {.status = 9});
    EXPECT_EQ(access.create(), 4);
    EXPECT_EQ(logged(), (Lines{error(TABLE, "connect", "Failed 9"), failed(5)}));
    EXPECT_EQ(access.getIterator(), iterator);
    iterator->commit();
    EXPECT_EQ(delivered(), Lines{"commit 0"});
    EXPECT_EQ(tv.iteratorsDestroyed(KEY), 0);
}

TEST_F(IteratorTest, ASecondCreateReleasesTheFirstIteratorAndItsTable) {
    tv.publishTable(KEY, ROWS);
    ASSERT_EQ(access.create(), 0);
    ASSERT_EQ(access.create(), 0);
    EXPECT_EQ(tv.iteratorsDestroyed(KEY), 1);
    EXPECT_EQ(tv.counts(KEY).disconnects, 1);
    tv.refuseIterators(KEY, true);
    EXPECT_EQ(access.create(), 0);
    EXPECT_EQ(access.getIterator(), nullptr);
    EXPECT_EQ(access.destroy(), 0);
    EXPECT_EQ(tv.iteratorsDestroyed(KEY), 2);
    EXPECT_EQ(tv.counts(KEY).disconnects, 2);
}

TEST_F(TelevisionTest, AnIteratorAccessDisconnectsFromItsTableWhenItGoes) {
    tv.publishTable(KEY, ROWS);
    {
        IteratorAccess access(KEY, nullptr, {}, {}, {}, {});
        ASSERT_EQ(access.create(), 0);
        access.destroy();
        tv.waitUntilDelivered();
        logged();
    }
    EXPECT_EQ(logged(), traced(ITERATOR, "~IteratorAccess"));
    EXPECT_EQ(tv.counts(KEY).disconnects, 1);
}

}  // namespace
}  // namespace test
