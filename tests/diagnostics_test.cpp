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

TEST(DebugTrace, EveryWayOutWritesTheLineOfTheEntryWhateverBecameOfThat) {
    enum class Answer { yes, no, fails };
    Answer answer = Answer::yes;
    simulator::LogCapture log([&answer](DebugLevelRecord&) {
        return answer == Answer::fails ? throw std::bad_alloc() : answer == Answer::yes;
    });
    std::string const place = "] diagnostics_test.cpp:" + std::to_string(__LINE__ + 6) + ":TestBody() \n";
    for (Answer const in : {Answer::yes, Answer::no, Answer::fails}) {
        for (Answer const out : {Answer::yes, Answer::no, Answer::fails}) {
            for (bool const thrown : {false, true}) {
                answer = in;
                try {
                    DEBUG_TRACE();
                    answer = out;
                    thrown ? throw std::runtime_error("thrown") : void();
                } catch (std::runtime_error const&) {
                }
                std::string written;
                for (auto const& line : log.take()) {
                    written += line.text;
                }
                EXPECT_EQ(written, (in == Answer::yes ? "[TRACE -> TestBody(IN)" + place : "") +
                                       (out == Answer::yes ? "[TRACE <- TestBody(OUT)" + place : ""));
            }
        }
    }
}

}  // namespace
}  // namespace test
