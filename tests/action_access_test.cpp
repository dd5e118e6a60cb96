#include "support.h"

namespace test {
namespace {

objbus::Argument argument(int index, std::string value) {
    return {.tag = 0, .index = static_cast<std::int8_t>(index), .flags = 0, .value = std::move(value)};
}

/// Keeps the answers, and may let go of the access, and so of itself, from inside a call.
struct RecordingActionHandler : ActionHandler {
    explicit RecordingActionHandler(Lines& lines) : heard(lines) {}
    ~RecordingActionHandler() override { heard.emplace_back("gone"); }

    void handleResult(unsigned int actionId, ValueObject const& results) override { hear(actionId, shown(results)); }
    void handleExecutionError(unsigned int actionId, int error) override {
        hear(actionId, "error " + std::to_string(error));
    }
    void hear(unsigned int actionId, std::string const& answer) {
        if (destroyed != nullptr) {
            (*destroyed)->disconnect();
            destroyed->reset();
        }
        heard.push_back(std::to_string(actionId) + " " + answer);
    }

    Lines& heard;
    std::unique_ptr<ActionAccess>* destroyed = nullptr;
};

TEST_F(TelevisionTest, AnActionIsInvokedAndAnswersLater) {
    Lines heard;
    ActionAnswer answer;
    tv.publishAction(KEY, [&answer](auto const& /*arguments*/) { return answer; });
    auto handler = std::make_shared<RecordingActionHandler>(heard);
    auto access = std::make_unique<ActionAccess>(KEY, handler);
    unsigned int id = 4;
    EXPECT_EQ(access->invoke(id, {}), -1);
    EXPECT_EQ(id, 4U);
    EXPECT_EQ(logged(), Lines{ACTION.error("invoke", "No Access yet.")});

    ASSERT_EQ(access->connect(0), 0);
    answer = {0, 0xFFFFFFFE, ActionAnswer::Results{argument(0, "done")}};
    EXPECT_EQ(access->invoke(id, {}), 0);
    EXPECT_EQ(id, 0xFFFFFFFE);
    tv.waitUntilDelivered();
    EXPECT_EQ(logged(),
              ACTION.traced("notifyResult", {ACTION.info("notifyResult", "Action Result: test.key,  -2,  1 ")}));
    answer = {12, 8U, ActionAnswer::Error{-7}};
    EXPECT_EQ(access->invoke(id, {}), 12);
    tv.waitUntilDelivered();
    EXPECT_EQ(logged(), ACTION.traced("notifyExecutionError", {ACTION.line("CRITICAL", "notifyExecutionError",
                                                                           "Action Failed : test.key,  8,  -7 ")}));
    EXPECT_EQ(access->setActionResultHandler(nullptr), 0);
    access->notifyResult(1, {argument(0, "unheard")});
    access->notifyExecutionError(1, 2);
    access->disconnect();
    for (auto const& last :
         {ActionAnswer{0, 9U, ActionAnswer::Results{}}, ActionAnswer{0, 9U, ActionAnswer::Error{3}}}) {
        access = std::make_unique<ActionAccess>(KEY, handler);
        handler->destroyed = &access;
        handler.reset();
        answer = last;
        EXPECT_EQ(access->connect(0) + access->invoke(id, {}), 0);
        tv.waitUntilDelivered();
        EXPECT_EQ(access, nullptr);
        handler = std::make_shared<RecordingActionHandler>(heard);
    }
    handler.reset();  // Each was held until its call was done.
    EXPECT_EQ(heard, (Lines{"4294967294 9 [done]", "8 error -7", "9 9 []", "gone", "9 error 3", "gone", "gone"}));
}

TEST_F(TelevisionTest, ResultsAreOrderedByTheirIndexAndOthersAreDropped) {
    Lines heard;
    ActionAccess access(KEY, std::make_shared<RecordingActionHandler>(heard));
    access.notifyResult(1, {argument(1, "b"), argument(0, "a")});
    access.notifyResult(2, {argument(0, "x"), argument(0, "y"), argument(3, "out")});
    std::vector<objbus::Argument> all;
    EXPECT_EQ(std::exchange(heard, {}), (Lines{"1 9 [a,b]", "2 9 [y,,]"}));
    for (int index = -128; index < 128; ++index) {
        all.push_back(argument(index, "x"));
    }
    access.notifyResult(5, all);
    std::string texts = "x";
    for (std::size_t position = 1; position < all.size(); ++position) {
        texts += position < 128 ? ",x" : ",";
    }
    EXPECT_EQ(heard, Lines{"5 9 [" + texts + "]"});
}

}  // namespace
}  // namespace test
