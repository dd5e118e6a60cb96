#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "support.h"

namespace test::diagnostics_test {

TEST(DebugLog, WritesWholeLinesAndEvaluatesNoArgumentsOfRefusedLines) {
    std::vector<unsigned int> codes;
    simulator::LogCapture log([&codes](DebugLevelRecord& record) {
        codes.push_back(record.levelCode);
        EXPECT_EQ(record.frame | record.chunk, 0U);
        record.frame = record.chunk = 0xFFFFFFFF;  // A filter may change these fields.
        return codes.size() < 4;
    });
    int evaluated = 0;
    int const line = __LINE__ + 1;
    DEBUG_LOG(LOG_CRITICAL, "%s and %lld", "text", -5LL);
    DEBUG_LOG(LOG_INFO, "plain");
    DEBUG_LOG(LOG_DEBUG, "%d", ++evaluated);
    DEBUG_LOG(LOG_ERROR, "%d", ++evaluated);
    { DEBUG_TRACE(); }
    EXPECT_TRUE(evaluated == 1 && debugCheckLevel(nullptr) == 0);
    EXPECT_EQ(codes, (std::vector{0x5F0001U, 0x5F0FA0U, 0x5F1388U, 0x5F03E8U, 0x5F1388U, 0x5F1388U}));
    auto const lines = log.take();
    for (std::size_t length = 400; length < 600; ++length) {  // No message is cut at a buffer's end.
        std::string const message(length, 'x');
        codes.clear();
        DEBUG_LOG(LOG_INFO, "%s", message.c_str());
        EXPECT_TRUE(log.take().at(0).text.ends_with(" " + message + "\n"));
    }
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, "[B-LOG] diagnostics_test.cpp:" + std::to_string(line) + ":TestBody(): text and -5\n");
}

TEST(DebugTrace, EveryExitWritesATraceLineWithTheLineOfTheEntry) {
    enum Answer { NO, YES, FAILS } answer = NO;
    simulator::LogCapture log([&](DebugLevelRecord&) { return answer == FAILS ? throw std::bad_alloc() : answer; });
    std::string const place = "] diagnostics_test.cpp:" + std::to_string(__LINE__ + 5) + ":TestBody() \n";
    for (Answer const in : {NO, YES, FAILS}) {
        for (Answer const out : {NO, YES, FAILS}) {
            answer = in;
            try {
                DEBUG_TRACE();
                answer = out;
                in == out ? throw std::runtime_error("leaves") : void();
            } catch (std::runtime_error const&) {
            }
            std::string written;
            for (auto const& line : log.take()) {
                written += line.text;
            }
            EXPECT_EQ(written, (in == YES ? "[TRACE -> TestBody(IN)" + place : "") +
                                   (out == YES ? "[TRACE <- TestBody(OUT)" + place : ""));
        }
    }
}

TEST(LogSink, IsUsableDuringStaticDestruction) {
    auto const exitWithSink = [] {
        std::shared_ptr<void> destroyed(nullptr, [](void*) { std::_Exit(1); });
        simulator::setLogSink([destroyed = std::move(destroyed)](auto&&...) {});
        std::exit(0);
    };
    EXPECT_EXIT(exitWithSink(), testing::ExitedWithCode(0), "");
}

}  // namespace test::diagnostics_test
