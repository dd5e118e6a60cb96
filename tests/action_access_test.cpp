#include "support.h"

namespace test {
namespace {

objbus::Argument argument(int index, std::string value) {
    return {.tag = 0, .index = static_cast<std::int8_t>(index), .flags = 0, .value = std::move(value)};
}

struct RecordingActionHandler : ActionHandler {
    explicit RecordingActionHandler(Lines& lines) : heard(lines) {}
    ~RecordingActionHandler() override { heard.emplace_back("gone"); }

    void handleResult(unsigned int actionId, ValueObject const& results) override { hear(actionId, shown(results)); }
    void handleExecutionError(unsigned int actionId, int error) override {
        hear(actionId, "error " + std::to_string(error));
    }
    void hear(unsigned int actionId, std::string const& answer) {
        access->setActionResultHandler(nullptr);  // The call is what still holds this.
        heard.push_back(std::to_string(actionId) + " " + answer);
    }

    Lines& heard;
    ActionAccess* access = nullptr;
};

TEST_F(TelevisionTest, AnActionsAnswersAreLoggedAndPassedOnToAHandlerThatTheCallHolds) {
    Lines heard;
    ActionAccess access(KEY);
    unsigned int id = 4;
    EXPECT_EQ(access.invoke(id, {}), -1);
    EXPECT_EQ(logged(), Lines{ACTION.error("invoke", "No Access yet.")});
    auto const expectHeard = [&](auto const& answer, Lines const& lines, std::string const& text) {
        for (bool const handled : {true, false}) {
            if (handled) {
                auto handler = std::make_shared<RecordingActionHandler>(heard);
                handler->access = &access;
                EXPECT_EQ(access.setActionResultHandler(std::move(handler)), 0);
            }
            answer();
            EXPECT_EQ(logged(), lines);
            EXPECT_EQ(std::exchange(heard, {}), handled ? (Lines{text, "gone"}) : Lines{});
        }
    };
    expectHeard([&] { access.notifyExecutionError(0xFFFFFFFE, -7); },
                ACTION.traced("notifyExecutionError",
                              {ACTION.line("CRITICAL", "notifyExecutionError", "Action Failed : test.key,  -2,  -7 ")}),
                "4294967294 error -7");
    std::vector<objbus::Argument> all;
    std::string texts;
    for (int index = 127; index >= -128; --index) {  // Those that are negative lie outside the list.
        all.push_back(argument(index, "x"));
        texts += index > 0 ? "x," : index == 0 ? "x" : ",";
    }
    expectHeard([&] { access.notifyResult(8, all); },
                ACTION.traced("notifyResult", {ACTION.info("notifyResult", "Action Result: test.key,  8,  256 ")}),
                "8 9 [" + texts + "]");
}

}  // namespace
}  // namespace test
