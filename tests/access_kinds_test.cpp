// The notifications, handlers and lifetimes of each kind of access object.

#include <climits>

#include "support.h"

namespace test::access_kinds_test {

using namespace objbus;

TEST_F(TelevisionTest, EveryInstanceTracesAndDeliversEveryNotification) {
    std::string const name = "notifyNewValue";
    Lines const names{name, name, name, "notifyIntegerVector", "notifyStringVector"};
    Lines const values{"1 -2", "3 7", "8 a\0b"s, "9 [3,-4]", "9 [p,]"};
    auto const expectAll = [&](auto&& access, std::size_t own, Value const& changed) {
        auto const handler = std::make_shared<RecordingHandler>();
        tv.publish(KEY, changed);
        for (auto const& receiver : {std::shared_ptr<ValueHandler>(handler), {}}) {
            EXPECT_EQ(access.setNewValueHandler(receiver), 0);
            EXPECT_EQ(access.connect(0), 0);
            tv.set(KEY, changed);
            tv.waitUntilDelivered();
            access.notifyNewValue(-2);
            access.notifyNewValue(7LL);
            access.notifyNewValue("a\0b"s);
            access.notifyIntegerVector({3, -4});
            access.notifyStringVector({"p", ""});
            Lines const inside = receiver ? BASE.traced("onNewValue") : Lines{};
            Lines lines = BASE.traced("setNewValueHandler") + VALUE.traced(names[own], inside);
            for (std::string const& each : names) {
                lines = lines + VALUE.traced(each, inside);
            }
            EXPECT_EQ(logged(), lines);
        }
        EXPECT_EQ(handler->values, Lines{values[own]} + values);
    };
    expectAll(ValueAccessT<ObserverNumericInteger>(KEY), 0, -2);
    expectAll(ValueAccessT<ObserverNumericInt64>(KEY), 1, 7LL);
    expectAll(ValueAccessT<ObserverString>(KEY), 2, "a\0b"s);
    expectAll(ValueAccessT<ObserverVectorNumericInteger>(KEY), 3, Integers{3, -4});
    expectAll(ValueAccessT<ObserverVectorString>(KEY), 4, Strings{"p", ""});
    EXPECT_EQ(tv.counts(KEY).disconnects, 5);
}

TEST_F(TelevisionTest, TheKeyMissingIsNeverConnected) {
    std::string text = "before";
    EXPECT_EQ(ValueAccessT<ObserverString>("missing").getValue(text), 8);
    EXPECT_EQ(logged(), (Lines{VALUE.error("connect", "Value is 'missing'."),
                               BASE.error("tryConnectIfNeeded", "BizValue connect failed:'missing', ret: 8")}));
    EXPECT_EQ(tv.lookups(), 0);
}

TEST_F(TelevisionTest, ACopySharesNothingAndANullHandlerReceivesNothing) {
    tv.publish(KEY, 1);
    auto const handler = std::make_shared<RecordingHandler>();
    ValueAccessT<ObserverNumericInteger> access(KEY, handler);
    access.connect(200);
    auto copy = std::make_unique<ValueAccessT<ObserverNumericInteger>>(access);
    EXPECT_EQ(copy->getName(), "");
    EXPECT_EQ(copy->setValue(3), 5);
    EXPECT_EQ(takeSleepMicroseconds().size(), 10U);
    EXPECT_EQ(handler.use_count(), 2);
    copy.reset();
    EXPECT_EQ(tv.counts(KEY).disconnects, 0);
    make_value_handler<RecordingHandler>(nullptr, &RecordingHandler::handleNewValue)->handleNewValue(ValueObject(6));
    make_value_handler<RecordingHandler>(handler.get(), nullptr)->handleNewValue(ValueObject(6));
    make_value_handler<ValueHandler>(handler.get(), &ValueHandler::handleNewValue)->handleNewValue(ValueObject(5));
    EXPECT_EQ(handler->values, Lines{"1 5"});
}

struct RecordingActionHandler : ActionHandler {
    RecordingActionHandler(ActionAccess& from, Lines& lines) : access(from), records(lines) {}
    ~RecordingActionHandler() override { records.emplace_back("gone"); }

    void handleResult(unsigned int actionId, ValueObject const& results) override {
        record(actionId, typeAndText(results));
    }
    void handleExecutionError(unsigned int actionId, int error) override {
        record(actionId, "error " + std::to_string(error));
    }
    void record(unsigned int actionId, std::string const& answer) {
        access.setActionResultHandler(nullptr);  // From here only the running call owns this handler.
        records.push_back(std::to_string(actionId) + " " + answer);
    }

    ActionAccess& access;
    Lines& records;
};

TEST_F(TelevisionTest, ActionLogsAnswersAndKeepsItsHandlerDuringTheCall) {
    Lines records;
    ActionAccess access(KEY);
    unsigned int id = 4;
    EXPECT_EQ(access.invoke(id, {}), -1);
    EXPECT_EQ(logged(), Lines{ACTION.error("invoke", "No Access yet.")});
    auto const expectRecorded = [&](auto const& answer, Lines const& lines, std::string const& text) {
        for (bool const handled : {true, false}) {
            if (handled) {
                EXPECT_EQ(access.setActionResultHandler(std::make_shared<RecordingActionHandler>(access, records)), 0);
            }
            answer();
            EXPECT_EQ(logged(), lines);
            EXPECT_EQ(std::exchange(records, {}), handled ? (Lines{text, "gone"}) : Lines{});
        }
    };
    expectRecorded([&] { access.notifyExecutionError(0xFFFFFFFE, -7); },
                   ACTION.traced("notifyExecutionError", {ACTION.line("CRITICAL", "notifyExecutionError",
                                                                      "Action Failed : test.key,  -2,  -7 ")}),
                   "4294967294 error -7");
    std::vector<Argument> all;
    std::string texts;
    for (int index = 127; index >= -128; --index) {  // A result with a negative index is dropped.
        all.push_back({0, static_cast<std::int8_t>(index), 0, "x"});
        texts += index > 0 ? "x," : index == 0 ? "x" : ",";
    }
    expectRecorded([&] { access.notifyResult(8, all); },
                   ACTION.traced("notifyResult", {ACTION.info("notifyResult", "Action Result: test.key,  8,  256 ")}),
                   "8 9 [" + texts + "]");
    tv.publishAction(KEY, {});
    EXPECT_EQ(access.connect(0) + access.connect(0), 0);
    EXPECT_EQ(tv.registrations(KEY), 1);
    access.disconnect();
}

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
        KEY, handler, IteratorType{7}, std::vector<TableSelection>{{INT_MIN, -2, "sel"}}, std::vector{1, 0, 9},
        std::vector<TableOrder>{{3, 4}});
};

TEST_F(IteratorTest, EveryNotificationReachesTheHandlerUnchanged) {
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
              std::tuple(IteratorType{7}, std::vector{1, 0, 9}, INT_MIN, -2, "sel", 4));
    EXPECT_EQ(released(), std::pair(1, 1));
    EXPECT_EQ(access->destroy() + access->destroy(), 0);
    EXPECT_EQ(released(), std::pair(2, 1));
    tv.waitUntilDelivered();
    logged();
    beforeLogLineOfTestThread = [&, count = 1]() mutable { EXPECT_EQ(released(), std::pair(2, count++)); };
    access.reset();  // The destructor disconnects between its two log lines, and destroys no iterator.
    EXPECT_EQ(logged(), ITERATOR.traced("~IteratorAccess"));
}

}  // namespace test::access_kinds_test
