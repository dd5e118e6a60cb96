#include <stdexcept>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "support.h"

namespace test {
namespace {

TEST(DebugLog, WritesTheWholeLineAndEvaluatesNothingOfARefusedOne) {
    std::vector<unsigned int> codes;
    simulator::LogCapture log([&codes](DebugLevelRecord& record) {
        codes.push_back(record.levelCode);
        EXPECT_EQ(record.frame | record.chunk, 0U);
        record.frame = record.chunk = 0xFFFFFFFF;  // A check may write here.
        return codes.size() < 4;
    });
    int evaluated = 0;
    int const line = __LINE__ + 1;
    DEBUG_LOG(LOG_CRITICAL, "%s and %lld", "text", -5LL);
    DEBUG_LOG(LOG_INFO, "plain");
    DEBUG_LOG(LOG_DEBUG, "%d", ++evaluated);
    DEBUG_LOG(LOG_ERROR, "%d", ++evaluated);
    { DEBUG_TRACE(); }
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(codes, (std::vector{0x5F0001U, 0x5F0FA0U, 0x5F1388U, 0x5F03E8U, 0x5F1388U, 0x5F1388U}));
    auto const lines = log.take();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, "[B-LOG] diagnostics_test.cpp:" + std::to_string(line) + ":TestBody(): text and -5\n");
}

TEST(DebugTrace, EveryWayOutWritesTheLineOfTheEntry) {
    simulator::LogCapture log;
    std::string const place = "] diagnostics_test.cpp:" + std::to_string(__LINE__ + 3) + ":TestBody() \n";
    for (bool const throws : {false, true}) {
        try {
            DEBUG_TRACE();
            throws ? throw std::runtime_error("thrown") : void();
        } catch (std::runtime_error const&) {
            EXPECT_TRUE(throws);
        }
        auto const lines = log.take();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[0].text, "[TRACE -> TestBody(IN)" + place);
        EXPECT_EQ(lines[1].text, "[TRACE <- TestBody(OUT)" + place);
    }
}

TEST(DebugTrace, ALostExitLineEndsNothing) {
    bool lost = false;
    simulator::LogCapture log([&lost](DebugLevelRecord&) { return lost ? throw std::bad_alloc() : true; });
    {
        DEBUG_TRACE();
        lost = true;
    }
    EXPECT_EQ(log.take().size(), 1U);
}

}  // namespace
}  // namespace test
