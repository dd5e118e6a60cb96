#include <climits>
#include <semaphore>
#include <tuple>

#include "simulator/table_iterator.h"
#include "support.h"

namespace test {
namespace {

TEST_F(TelevisionTest, ATableIsHandedOutWhileConnected) {
    tv.publishTable(KEY, {});
    auto const handler = std::make_shared<TableHandler>();
    TableAccess access(KEY, handler);
    EXPECT_EQ(access.getAccess(), nullptr);
    ASSERT_EQ(access.connect(0), 0);
    EXPECT_EQ(handler.use_count(), 2);
    EXPECT_TRUE(tv.setRows(KEY, {}));
    EXPECT_FALSE(tv.setRows("no.table", {}) || tv.set(KEY, 5) || tv.set("no.value", 5));
    tv.waitUntilDelivered();
    EXPECT_EQ(logged(), TABLE.traced("notifyUpdate"));
    EXPECT_NE(access.getAccess(), nullptr);
    access.disconnect();
    EXPECT_EQ(access.getAccess(), nullptr);
    EXPECT_EQ(access.setActionResultHandler(nullptr) + handler.use_count(), 1);
}

struct RecordingIteratorHandler : IteratorHandler, std::enable_shared_from_this<RecordingIteratorHandler> {
    void handleCommit(int status) override { add("commit", status); }
    void handleTotalCount(int count) override { add("count", count); }
    void handleSeekToRow(int row) override { add("row", row); }
    void handleSeekToContent(int row) override { add("content", row); }
    void handleCursorPosition(int row) override { add("cursor", row); }
    void handleReadRow(Strings const& row) override {
        calls.push_back(joined("read", row));
        lastArgument = &row;
    }
    void handleReadRowChunk(std::vector<Strings const*> const& rows) override {
        for (Strings const* const row : rows) {
            calls.push_back(joined("chunk", *row));
        }
        lastArgument = &rows;
    }
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
    IteratorTest() { tv.publishTable(KEY, {{"1", "one"}, {"2", "two"}, {"3", "three"}}); }

    /// What the handler heard, and forgets, as does the log.
    Lines delivered() {
        tv.waitUntilDelivered();
        logged();
        return std::exchange(handler->calls, {});
    }

    std::shared_ptr<RecordingIteratorHandler> handler = std::make_shared<RecordingIteratorHandler>();
    std::unique_ptr<IteratorAccess> access = std::make_unique<IteratorAccess>(
        KEY, handler, objbus::IteratorType{7}, std::vector<objbus::TableSelection>{{INT_MIN, -2, "sel"}},
        std::vector{1, 0, 9}, std::vector<objbus::TableOrder>{{3, 4}});
};

TEST_F(IteratorTest, ATablesIteratorReportsThroughTheHandler) {
    EXPECT_EQ(access->destroy(), 0);
    ASSERT_EQ(access->create(), 0);
    auto const request = tv.iteratorRequest(KEY).value();
    auto const& [first, second, value] = request.selections.at(0);
    EXPECT_EQ(std::tuple(request.type, request.columns, first, second, value, request.orders.at(0).second),
              std::tuple(objbus::IteratorType{7}, std::vector{1, 0, 9}, INT_MIN, -2, "sel", 4));
    objbus::TableIterator* const iterator = access->getIterator();
    iterator->requestTotalCount();
    iterator->seekToContent("two");
    iterator->readRow();
    iterator->seekToRow(INT_MAX);
    iterator->seekToRow(1);
    iterator->readRowChunk(INT_MAX);
    iterator->commit();
    tv.waitUntilDelivered();
    Lines lines;
    for (char const* const name : {"IteratorReady", "TotalCount", "SeekToContent", "ReadRow", "SeekToRow",
                                   "CursorPosition", "SeekToRow", "CursorPosition", "ReadRowChunk", "Commit"}) {
        lines = lines + ITERATOR.traced("notify"s + name);
    }
    EXPECT_EQ(logged(), lines);
    EXPECT_EQ(delivered(), (Lines{"ready 0", "count 3", "content 1", "read two 2 ", "row -1", "cursor -1", "row 1",
                                  "cursor 1", "chunk two 2 ", "chunk three 3 ", "commit 0"}));
    EXPECT_EQ(access->destroy(), 0);
    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_EQ(access->destroy(), 0);
    EXPECT_EQ(tv.counts(KEY).destroyIteratorCalls, 1);
    iterator->commit();  // Kept by a client that should not: nobody hears of it.
    EXPECT_TRUE(tv.setRows(KEY, {}));
    EXPECT_EQ(delivered(), Lines{});
}

TEST_F(IteratorTest, DestroyWaitsForANotificationThatIsRunningButForItsOwn) {
    struct Handler : RecordingIteratorHandler {
        explicit Handler(IteratorTest& owner) : test(owner) {}
        void handleIteratorReady(int /*status*/) override {
            started.release();
            while (test.tv.counts(KEY).destroyIteratorCalls == 0) {
                std::this_thread::yield();
            }
            done = true;
        }
        void handleCommit(int /*status*/) override {
            test.access->destroy();
            test.access.reset();
        }
        IteratorTest& test;
        std::binary_semaphore started{0};
        std::atomic<bool> done = false;
    };
    auto const ending = std::make_shared<Handler>(*this);
    access->setActionResultHandler(ending);
    access->create();
    ending->started.acquire();
    access->destroy();
    EXPECT_TRUE(ending->done);
    access->create();
    access->getIterator()->commit();
    tv.waitUntilDelivered();
    EXPECT_EQ(access, nullptr);
}

TEST_F(IteratorTest, ANotificationIsPassedOnAsItIsWhateverTheState) {
    Strings const row{"a"};
    std::vector<Strings const*> const chunk{&row, &row};
    access->notifyReadRow(row);
    EXPECT_EQ(handler->lastArgument, &row);
    access->notifyReadRowChunk(chunk);
    EXPECT_EQ(handler->lastArgument, &chunk);
    logged();
    access->notifyUpdate(-4);
    EXPECT_EQ(access->setActionResultHandler(nullptr), 0);
    EXPECT_EQ(handler.use_count(), 1);
    access->notifyUpdate(5);
    EXPECT_EQ(logged(), ITERATOR.traced("notifyUpdate") + ITERATOR.traced("notifyUpdate"));
    EXPECT_EQ(delivered(), (Lines{"read a", "chunk a", "chunk a", "update held by 3 -4"}));
    EXPECT_EQ(access->connect(5000) + access->disconnect() + access->destroy(), 0);  // Only create() connects.
    EXPECT_EQ(tv.lookups(), 0);
}

TEST_F(IteratorTest, ASecondCreateReleasesTheFirstIteratorAndItsTable) {
    auto const released = [this] { return std::pair(tv.counts(KEY).destroyIteratorCalls, tv.counts(KEY).disconnects); };
    EXPECT_EQ(access->create() + access->create(), 0);
    EXPECT_EQ(released(), std::pair(1, 1));
    tv.refuseIterators(KEY, true);
    EXPECT_EQ(access->create(), 0);
    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_EQ(access->destroy(), 0);
    EXPECT_EQ(released(), std::pair(2, 2));
    tv.refuseIterators(KEY, false);
    EXPECT_EQ(access->create(), 0);
    delivered();
    beforeOwnLine = [&, count = 3]() mutable { EXPECT_EQ(released(), std::pair(2, count++)); };
    access.reset();  // Between its lines; the iterator is its owner's to destroy.
    EXPECT_EQ(logged(), ITERATOR.traced("~IteratorAccess"));
}

}  // namespace
}  // namespace test
