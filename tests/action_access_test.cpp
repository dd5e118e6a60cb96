#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"

#include "support.h"

namespace test {
namespace {

using namespace orvane::system::support;
using simulator::ActionAnswer;

constexpr char KEY[] = "test.action";
constexpr char FILE_NAME[] = "action_access.cpp";

objbus::Argument argument(int index, std::string value) {
    return {.tag = 0, .index = static_cast<std::int8_t>(index), .flags = 0, .value = std::move(value)};
}

class RecordingActionHandler : public ActionHandler {
public:
    void handleResult(unsigned int actionId, ValueObject const& results) override {
        answers.push_back(std::to_string(actionId) + " " + std::to_string(results.type()) + " " +
                          results.convertToStringType());
    }
    void handleExecutionError(unsigned int actionId, int error) override {
        answers.push_back(std::to_string(actionId) + " error " + std::to_string(error));
    }

    std::vector<std::string> answers;
};

TEST_F(TelevisionTest, AnActionIsInvokedAndAnswersLater) {
    std::vector<std::string> received;
    ActionAnswer answer;
    tv.publishAction(KEY, [&](std::vector<objbus::Argument> const& arguments) {
        for (auto const& [tag, index, flags, value] : arguments) {
            received.push_back(std::to_string(tag) + std::to_string(index) + std::to_string(flags) + value);
        }
        return answer;
    });
    auto const handler = std::make_shared<RecordingActionHandler>();
    ActionAccess access(KEY, handler);
    unsigned int id = 4;
    EXPECT_EQ(access.invoke(id, {}), -1);
    EXPECT_EQ(id, 4U);
    EXPECT_EQ(logged(), Lines{error(FILE_NAME, "invoke", "No Access yet.")});

    ASSERT_EQ(access.connect(0), 0);
    answer = {.actionId = 0xFFFFFFFE, .outcome = ActionAnswer::Results{argument(0, "done")}};
    EXPECT_EQ(access.invoke(id, {argument(0, "a"), argument(1, "b")}), 0);
    EXPECT_EQ(id, 0xFFFFFFFE);
    tv.waitUntilDelivered();
    EXPECT_EQ(received, (std::vector<std::string>{"000a", "010b"}));
    EXPECT_EQ(logged(), traced(FILE_NAME, "notifyResult",
                               {info(FILE_NAME, "notifyResult", "Action Result: test.action,  -2,  1 ")}));

    answer = {.status = 12, .actionId = 8, .outcome = ActionAnswer::Error{-7}};
    EXPECT_EQ(access.invoke(id, {}), 12);
    tv.waitUntilDelivered();
    EXPECT_EQ(
        logged(),
        traced(FILE_NAME, "notifyExecutionError",
               {logLine("CRITICAL", FILE_NAME, "notifyExecutionError", "Action Failed : test.action,  8,  -7 ")}));
    EXPECT_EQ(handler->answers, (std::vector<std::string>{"4294967294 9 [done]", "8 error -7"}));

    EXPECT_EQ(access.setActionResultHandler(nullptr), 0);
    EXPECT_EQ(handler.use_count(), 1);
    access.notifyResult(1, {argument(0, "dropped")});
    access.notifyExecutionError(1, 2);
    EXPECT_EQ(logged().size(), 6U);
    access.disconnect();
    EXPECT_EQ(access.invoke(id, {}), -1);
}

TEST(ActionResults, AreOrderedByTheirIndex) {
    struct Row {
        std::vector<objbus::Argument> results;
        std::string text;
    };
    auto const handler = std::make_shared<RecordingActionHandler>();
    ActionAccess access(KEY);
    access.setActionResultHandler(handler);
    simulator::LogCapture log([](DebugLevelRecord&) { return false; });
    for (auto const& [results, text] : {
             Row{{argument(1, "b"), argument(0, "a")}, "[a,b]"},
             Row{{argument(0, "x"), argument(0, "y")}, "[y,]"},
             Row{{}, "[]"},
             Row{{argument(-1, "low"), argument(2, "high"), argument(127, "higher"), argument(-128, "lower")},
                 "[,,high,]"},
             Row{std::vector(200, argument(127, "last")),
                 "[" + std::string(127, ',') + "last" + std::string(72, ',') + "]"},
         }) {
        access.notifyResult(1, results);
        EXPECT_EQ(handler->answers.back(), "1 9 " + text);
    }
}

/// Lets go of itself, and of the access, from inside its own call.
class VanishingHandler : public RecordingActionHandler {
public:
    explicit VanishingHandler(std::unique_ptr<ActionAccess>& access) : access_(access) {}

    void handleResult(unsigned int actionId, ValueObject const& results) override {
        access_->disconnect();
        access_.reset();
        RecordingActionHandler::handleResult(actionId, results);  // Still there: the notification holds us.
    }

private:
    std::unique_ptr<ActionAccess>& access_;
};

TEST_F(TelevisionTest, AnActionAccessMayBeDestroyedFromInsideItsAnswer) {
    tv.publishAction(KEY, [](auto const&) { return ActionAnswer{.actionId = 1, .outcome = ActionAnswer::Results{}}; });
    std::unique_ptr<ActionAccess> access;
    access = std::make_unique<ActionAccess>(KEY, std::make_shared<VanishingHandler>(access));
    ASSERT_EQ(access->connect(0), 0);
    unsigned int id = 0;
    EXPECT_EQ(access->invoke(id, {}), 0);
    tv.waitUntilDelivered();
    EXPECT_EQ(access, nullptr);
    EXPECT_EQ(tv.counts(KEY).disconnects, 1);
}

}  // namespace
}  // namespace test
