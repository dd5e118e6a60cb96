#include <climits>
#include <tuple>

#include "support.h"

namespace test {
namespace {

TEST_F(TelevisionTest, ATableKeepsItsHandlerAndOnlyTracesUpdates) {
    tv.publishTable(KEY, {});
    auto const handler = std::make_shared<TableHandler>();
    TableAccess access(KEY, handler);
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_TRUE(tv.setRows(KEY, {}));
    tv.waitUntilDelivered();
    EXPECT_EQ(logged(), TABLE.traced("notifyUpdate"));
    EXPECT_NE(access.getAccess(), nullptr);
    access.disconnect();
    EXPECT_EQ(access.getAccess(), nullptr);
    EXPECT_EQ(handler.use_count(), 2);
    EXPECT_EQ(access.setActionResultHandler(nullptr) + handler.use_count(), 1);
}

struct RecordingIteratorHandler : IteratorHandler, std::enable_shared_from_this<RecordingIteratorHandler> {
    void handleCommit(int status) override { add("commit", status); }
    void handleTotalCount(int count) override { add("count", count); }
    void handleSeekToRow(int row) override { add("row", row); }
    void handleSeekToContent(int row) override { add("content", row); }
    void handleCursorPosition(int row) override { add("cursor", row); }
    void handleReadRow(Strings const& row) override { lastArgument = &row; }
    void handleReadRowChunk(std::vector<Strings const*> const& rows) override { lastArgument = &rows; }
    void handleIteratorReady(int status) override { add("ready", status); }
    void handleUpdate(int update) override {
        add("update held by " + std::to_string(weak_from_this().use_count()), update);
    }
    void add(std::string const& name, int value) { calls.push_back(name + " " + std::to_string(value)); }

    Lines calls;
    void const* lastArgument = nullptr;
};

class IteratorTest : public TelevisionTest {
public:
    IteratorTest() { tv.publishTable(KEY, {}); }

    std::shared_ptr<RecordingIteratorHandler> handler = std::make_shared<RecordingIteratorHandler>();
    std::unique_ptr<IteratorAccess> access = std::make_unique<IteratorAccess>(
        KEY, handler, objbus::IteratorType{7}, std::vector<objbus::TableSelection>{{INT_MIN, -2, "sel"}},
        std::vector{1, 0, 9}, std::vector<objbus::TableOrder>{{3, 4}});
};

TEST_F(IteratorTest, ANotificationIsPassedOnAsItIsWhateverTheState) {
    Strings const row{"a"};
    std::vector<Strings const*> const chunk{&row, &row};
    access->notifyReadRow(row);
    EXPECT_EQ(handler->lastArgument, &row);
    access->notifyReadRowChunk(chunk);
    EXPECT_EQ(handler->lastArgument, &chunk);
    access->notifyCommit(1);
    access->notifyTotalCount(2);
    access->notifySeekToRow(3);
    access->notifySeekToContent(4);
    access->notifyCursorPosition(5);
    access->notifyIteratorReady(6);
    access->notifyUpdate(-4);
    EXPECT_EQ(access->setActionResultHandler(nullptr), 0);
    EXPECT_EQ(handler.use_count(), 1);
    access->notifyUpdate(5);
    Lines lines;
    for (char const* const name : {"ReadRow", "ReadRowChunk", "Commit", "TotalCount", "SeekToRow", "SeekToContent",
                                   "CursorPosition", "IteratorReady", "Update", "Update"}) {
        lines = lines + ITERATOR.traced("notify"s + name);
    }
    EXPECT_EQ(logged(), lines);
    EXPECT_EQ(handler->calls,
              (Lines{"commit 1", "count 2", "row 3", "content 4", "cursor 5", "ready 6", "update held by 3 -4"}));
    EXPECT_EQ(access->connect(5000) + access->disconnect() + access->destroy(), 0);  // Only create() connects.
    EXPECT_EQ(tv.lookups(), 0);
}

TEST_F(IteratorTest, ASecondCreateReleasesTheFirstIteratorAndItsTable) {
    auto const released = [this] { return std::pair(tv.counts(KEY).destroyIteratorCalls, tv.counts(KEY).disconnects); };
    EXPECT_EQ(access->create() + access->create(), 0);
    auto const request = tv.iteratorRequest(KEY).value();
    auto const& [first, second, value] = request.selections.at(0);
    EXPECT_EQ(std::tuple(request.type, request.columns, first, second, value, request.orders.at(0).second),
              std::tuple(objbus::IteratorType{7}, std::vector{1, 0, 9}, INT_MIN, -2, "sel", 4));
    EXPECT_EQ(released(), std::pair(1, 1));
    EXPECT_EQ(access->destroy() + access->destroy(), 0);
    EXPECT_EQ(released(), std::pair(2, 1));
    tv.waitUntilDelivered();
    logged();
    beforeOwnLine = [&, count = 1]() mutable { EXPECT_EQ(released(), std::pair(2, count++)); };
    access.reset();  // Between its lines; the iterator is its owner's to destroy.
    EXPECT_EQ(logged(), ITERATOR.traced("~IteratorAccess"));
}

}  // namespace
}  // namespace test
