#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

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
using Lines = Strings;  ///< Written ones, each as its severity and its text; the source line is shown as '#'.

constexpr char KEY[] = "test.key";

// The keys that the facade holds.
inline std::string const COMMAND = "torvi.sl2.vstr.videoplayer.nrx.command";
inline std::string const EVENT = "torvi.sl2.vstr.videoplayer.nrx.event";
inline std::string const SOFTWARE_VERSION = "torvi.sl2.str.orvfactory.software.version";
inline std::string const PRODUCTION_TYPE = "torvi.sl2.str.orvfactory.production.type";
inline std::string const FEATURE_CODE = "torvi.sl2.str.basic.settings.tv.featurecode";
inline std::string const SOURCE_SWITCH = "torvi.sl2.action.source.switch";

/// The sleeps asked for since the last call, in microseconds. Nothing sleeps in this program.
std::vector<unsigned int> takeSleeps();

/// While it lives, memory runs out for the thread that made it: after so many allocations one fails, or all from there.
struct Shortage {
    explicit Shortage(int allocations, bool lasts = true);
    Shortage(Shortage const&) = delete;
    Shortage& operator=(Shortage const&) = delete;
    ~Shortage();
};

Lines operator+(Lines first, Lines const& second);

/// The text with each of the words after it, behind a blank.
std::string joined(std::string text, Strings const& words);

/// A value as its type and its text.
std::string shown(IValueObject const& value);

/// Spells out the lines of a source file.
struct Source {
    using Text = std::string const&;
    [[nodiscard]] std::string line(Text severity, Text function, Text message) const {
        return severity + " [B-LOG] " + file + ":#:" + function + "(): " + message + "\n";
    }
    [[nodiscard]] std::string error(Text function, Text message) const { return line("ERROR", function, message); }
    [[nodiscard]] std::string info(Text function, Text message) const { return line("INFO", function, message); }
    [[nodiscard]] std::string debug(Text function, Text message) const { return line("DEBUG", function, message); }
    /// The trace lines of an operation around the lines written inside it.
    [[nodiscard]] Lines traced(std::string const& function, Lines const& inside = {}) const;

    std::string file;
};

inline Source const FACADE{"nrx_model_access.cpp"};
inline Source const BASE{"value_access_base.cpp"};
inline Source const VALUE{"value_access.cpp"};
inline Source const ACTION{"action_access.cpp"};
inline Source const TABLE{"table_access.cpp"};
inline Source const ITERATOR{"iterator_access.cpp"};

/// A television that is on and a log that admits everything.
class TelevisionTest : public ::testing::Test {
public:
    TelevisionTest() { takeSleeps(); }

    /// The lines since the last call.
    Lines logged();

    simulator::Television tv;
    std::atomic<bool> silent = false;             ///< Refuses every line.
    std::atomic<bool> ownLinesOnly = false;       ///< Leaves out the delivery thread's.
    std::function<void()> beforeOwnLine = [] {};  ///< Called when a line of this thread is about to be written.
    std::thread::id const ownThread = std::this_thread::get_id();
    simulator::LogCapture log{[this](DebugLevelRecord&) {
        bool const own = std::this_thread::get_id() == ownThread;
        own ? beforeOwnLine() : void();
        return !silent && (own || !ownLinesOnly);
    }};
};

struct RecordingHandler : ValueHandler {
    void handleNewValue(IValueObject const& value) override { values.push_back(shown(value)); }

    Lines values;
};

}  // namespace test
