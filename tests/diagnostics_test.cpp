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

TEST(DebugTrace, EveryWayOutWritesTheLineOfTheEntryOrIsLost) {
    bool lost = false;
    simulator::LogCapture log([&lost](DebugLevelRecord&) { return lost ? throw std::bad_alloc() : true; });
    std::string const place = "] diagnostics_test.cpp:" + std::to_string(__LINE__ + 3) + ":TestBody() \n";
    for (std::string const way : {"returns", "throws", "loses"}) {
        try {
            DEBUG_TRACE();
            lost = way == "loses";
            way == "throws" ? throw std::runtime_error(way) : void();
        } catch (std::runtime_error const& error) {
            EXPECT_EQ(error.what(), way);
        }
        auto const lines = log.take();
        ASSERT_EQ(lines.size(), lost ? 1U : 2U);
        EXPECT_EQ(lines.front().text, "[TRACE -> TestBody(IN)" + place);
        EXPECT_EQ(lines.back().text, lost ? lines.front().text : "[TRACE <- TestBody(OUT)" + place);
    }
}

}  // namespace
}  // namespace test
