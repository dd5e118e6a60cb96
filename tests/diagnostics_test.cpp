#include <stdexcept>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "support.h"

namespace test {
namespace {

TEST(DebugLog, WritesTheWholeLineWithTheSeverityOfItsRecord) {
    std::vector<DebugLevelRecord> records;
    simulator::LogCapture log([&records](DebugLevelRecord& record) {
        records.push_back(record);
        record.frame = record.chunk = 0xFFFFFFFF;  // A check may write here.
        return true;
    });
    int const line = __LINE__ + 1;
    DEBUG_LOG(LOG_CRITICAL, "%s and %lld", "text", -5LL);
    DEBUG_LOG(LOG_ERROR, "plain");
    DEBUG_LOG(LOG_INFO, "plain");
    DEBUG_LOG(LOG_DEBUG, "plain");
    std::string const place = "diagnostics_test.cpp:" + std::to_string(line) + ":TestBody(): ";
    auto const lines = log.take();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].text, "[B-LOG] " + place + "text and -5\n");
    std::vector<unsigned int> codes;
    for (DebugLevelRecord const& record : records) {
        codes.push_back(record.levelCode);
        EXPECT_EQ(record.frame, 0U);
        EXPECT_EQ(record.chunk, 0U);
    }
    EXPECT_EQ(codes, (std::vector{0x5F0001U, 0x5F03E8U, 0x5F0FA0U, 0x5F1388U}));
}

TEST(DebugLog, ARefusedLineEvaluatesNoArgument) {
    simulator::LogCapture log([](DebugLevelRecord&) { return false; });
    int evaluated = 0;
    DEBUG_LOG(LOG_CRITICAL, "%d", ++evaluated);
    { DEBUG_TRACE(); }
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(log.take().empty());
}

TEST(DebugLog, TheSeveritiesAreAdmittedOneByOne) {
    simulator::LogCapture log([](DebugLevelRecord& record) { return (record.levelCode & 0xFFFFU) == 5000; });
    DEBUG_TRACE();
    DEBUG_LOG(LOG_ERROR, "refused");
    DEBUG_LOG(LOG_DEBUG, "admitted");
    auto const lines = log.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[1].text.find("admitted"), std::string::npos);
}

constexpr int TRACED_LINE = __LINE__ + 3;

void tracedFunction(bool throws) {
    DEBUG_TRACE();
    if (throws) {
        throw std::runtime_error("thrown");
    }
}

TEST(DebugTrace, EveryWayOutWritesTheLineOfTheEntry) {
    simulator::LogCapture log;
    for (bool const throws : {false, true}) {
        EXPECT_EQ(throws, [throws] {
            try {
                tracedFunction(throws);
                return false;
            } catch (std::runtime_error const&) {
                return true;
            }
        }());
        auto const lines = log.take();
        ASSERT_EQ(lines.size(), 2U);
        std::string const in = "[TRACE -> tracedFunction(IN)] ";
        std::string const place = lines[0].text.substr(in.size());
        EXPECT_EQ(lines[0].text, in + place);
        EXPECT_EQ(place, "diagnostics_test.cpp:" + std::to_string(TRACED_LINE) + ":tracedFunction() \n");
        EXPECT_EQ(lines[1].text, "[TRACE <- tracedFunction(OUT)] " + place);
    }
}

TEST(DebugTrace, ALostExitLineEndsNothing) {
    bool lost = false;
    simulator::LogCapture log([&lost](DebugLevelRecord&) -> bool {
        if (lost) {
            throw std::bad_alloc();
        }
        return true;
    });
    {
        DEBUG_TRACE();
        lost = true;
    }
    EXPECT_EQ(log.take().size(), 1U);
}

}  // namespace
}  // namespace test
