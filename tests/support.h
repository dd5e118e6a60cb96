#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_handler.h"
#include "simulator/log.h"
#include "simulator/television.h"

namespace test {

using namespace orvane::system::support;
using namespace std::string_literals;

/// The sleeps asked for since the last call, in microseconds. Nothing sleeps in this program.
std::vector<unsigned int> takeSleeps();

/// Written lines, each as its severity and its text; the source line is shown as '#'.
using Lines = std::vector<std::string>;

Lines operator+(Lines first, Lines const& second);

/// Spells out the lines of a source file.
struct Source {
    [[nodiscard]] std::string line(std::string const& severity, std::string const& function,
                                   std::string const& message) const {
        return severity + " [B-LOG] " + file + ":#:" + function + "(): " + message + "\n";
    }
    [[nodiscard]] std::string error(std::string const& function, std::string const& message) const {
        return line("ERROR", function, message);
    }
    [[nodiscard]] std::string info(std::string const& function, std::string const& message) const {
        return line("INFO", function, message);
    }
    [[nodiscard]] std::string debug(std::string const& function, std::string const& message) const {
        return line("DEBUG", function, message);
    }
    /// The trace lines of an operation around the lines written inside it.
    [[nodiscard]] Lines traced(std::string const& function, Lines const& inside = {}) const;

    std::string file;
};

Source const FACADE{"nrx_model_access.cpp"};
Source const BASE{"value_access_base.cpp"};
Source const VALUE{"value_access.cpp"};
Source const ACTION{"action_access.cpp"};
Source const TABLE{"table_access.cpp"};
Source const ITERATOR{"iterator_access.cpp"};

/// A television that is on and a log that admits everything.
class TelevisionTest : public ::testing::Test {
public:
    TelevisionTest() { takeSleeps(); }

    /// The lines since the last call.
    Lines logged();

    simulator::Television tv;
    std::atomic<bool> ownLinesOnly = false;       ///< Leaves out the delivery thread's.
    std::function<void()> beforeOwnLine = [] {};  ///< Called when a line of this thread is about to be written.
    std::thread::id const ownThread = std::this_thread::get_id();
    simulator::LogCapture log{[this](DebugLevelRecord&) {
        bool const own = std::this_thread::get_id() == ownThread;
        if (own) {
            beforeOwnLine();
        }
        return own || !ownLinesOnly;
    }};
};

/// Keeps what it is given, each value as its type and its text.
struct RecordingHandler : ValueHandler {
    void handleNewValue(IValueObject const& value) override {
        values.push_back(std::to_string(value.type()) + " " + value.convertToStringType());
    }

    Lines values;
};

}  // namespace test
