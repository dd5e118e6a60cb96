#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "simulator/log.h"
#include "simulator/television.h"

namespace test {

using namespace orvane::system::support;
using namespace std::string_literals;

using simulator::ActionAnswer;
using simulator::Value;
using Integers = std::vector<int>;
using Strings = std::vector<std::string>;
using Lines = Strings;  ///< Log lines, each with its severity, and with '#' for the number of its source line.

constexpr char KEY[] = "test.key";

// The keys of the facade's objects.
inline std::string const COMMAND = "torvi.sl2.vstr.videoplayer.nrx.command";
inline std::string const EVENT = "torvi.sl2.vstr.videoplayer.nrx.event";
inline std::string const SOFTWARE_VERSION = "torvi.sl2.str.orvfactory.software.version";
inline std::string const PRODUCTION_TYPE = "torvi.sl2.str.orvfactory.production.type";
inline std::string const FEATURE_CODE = "torvi.sl2.str.basic.settings.tv.featurecode";
inline std::string const SOURCE_SWITCH = "torvi.sl2.action.source.switch";

/// Returns the arguments of the calls of `usleep` since the last call of this function, in microseconds. `usleep` does
/// not sleep in this program.
std::vector<unsigned int> takeSleepMicroseconds();

inline Lines operator+(Lines first, Lines const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline ValueObject listOf(std::vector<ValueObject> const& elements) {
    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    list.elements = elements;
    return list;
}

/// Returns the type and the text of a value.
inline std::string typeAndText(IValueObject const& value) {
    return std::to_string(value.type()) + " " + value.convertToStringType();
}

/// Makes the expected log lines of a source file.
struct LoggingSourceFile {
    using Text = std::string const&;
    [[nodiscard]] std::string line(Text severity, Text function, Text message) const {
        return severity + " [B-LOG] " + file + ":#:" + function + "(): " + message + "\n";
    }
    [[nodiscard]] std::string error(Text function, Text message) const { return line("ERROR", function, message); }
    [[nodiscard]] std::string info(Text function, Text message) const { return line("INFO", function, message); }
    [[nodiscard]] std::string debug(Text function, Text message) const { return line("DEBUG", function, message); }
    /// The lines of an operation: its entry, the lines `inside`, and its exit.
    [[nodiscard]] Lines traced(Text function, Lines const& inside = {}) const {
        std::string const place = file + ":#:" + function + "() \n";
        return Lines{"DEBUG [TRACE -> " + function + "(IN)] " + place} + inside +
               Lines{"DEBUG [TRACE <- " + function + "(OUT)] " + place};
    }

    std::string file;
};

inline LoggingSourceFile const FACADE{"nrx_model_access.cpp"};
inline LoggingSourceFile const BASE{"value_access_base.cpp"};
inline LoggingSourceFile const VALUE{"value_access.cpp"};
inline LoggingSourceFile const ACTION{"action_access.cpp"};
inline LoggingSourceFile const TABLE{"table_access.cpp"};
inline LoggingSourceFile const ITERATOR{"iterator_access.cpp"};

/// A television, and a log that admits every line that the test does not refuse.
class TelevisionTest : public ::testing::Test {
public:
    TelevisionTest() { takeSleepMicroseconds(); }

    Lines logged() {
        static std::map<int, std::string> const names{
            {1, "CRITICAL "}, {1000, "ERROR "}, {4000, "INFO "}, {5000, "DEBUG "}};
        Lines lines;
        for (auto& [severity, text] : log.take()) {
            if (text.find("[TELEVISION]") != std::string::npos) {
                continue;  // The television's own lines.
            }
            auto const number = text.find(".cpp:") + 5;
            text.replace(number, text.find(':', number) - number, "#");
            lines.push_back(names.at(severity) + text);
        }
        return lines;
    }

    simulator::Television tv;
    std::atomic<bool> isLogOff = false;                       ///< Refuses every line.
    std::atomic<bool> refusesLogLinesOfOtherThreads = false;  ///< Refuses the lines of other threads.
    std::function<void()> beforeLogLineOfTestThread = [] {};  ///< Called before each log line of the test's thread.
    std::thread::id const ownThread = std::this_thread::get_id();
    simulator::LogCapture log{[this](DebugLevelRecord&) {
        bool const own = std::this_thread::get_id() == ownThread;
        own ? beforeLogLineOfTestThread() : void();
        return !isLogOff && (own || !refusesLogLinesOfOtherThreads);
    }};
};

struct RecordingHandler : ValueHandler {
    void handleNewValue(IValueObject const& value) override { values.push_back(typeAndText(value)); }

    Lines values;
};

}  // namespace test
