#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_handler.h"
#include "simulator/log.h"
#include "simulator/television.h"

namespace test {

/// The sleeps asked for since the last call, in microseconds. Nothing sleeps in this program.
std::vector<unsigned int> takeSleeps();

/// Written lines, each as its severity and its text; the source line is shown as '#'.
using Lines = std::vector<std::string>;

std::string logLine(char const* severity, std::string const& file, std::string const& function,
                    std::string const& message);
inline std::string error(std::string const& file, std::string const& function, std::string const& message) {
    return logLine("ERROR", file, function, message);
}
inline std::string info(std::string const& file, std::string const& function, std::string const& message) {
    return logLine("INFO", file, function, message);
}
inline std::string debug(std::string const& file, std::string const& function, std::string const& message) {
    return logLine("DEBUG", file, function, message);
}
/// The trace lines of an operation around the lines written inside it.
Lines traced(std::string const& file, std::string const& function, Lines const& inside = {});
Lines joined(std::vector<Lines> const& parts);

/// A television that is on and a log that admits everything.
class TelevisionTest : public ::testing::Test {
public:
    TelevisionTest() { takeSleeps(); }

    /// The lines since the last call.
    Lines logged();

    simulator::Television tv;
    std::atomic<bool> ownLinesOnly = false;  ///< Leaves out the delivery thread's.
    std::thread::id const ownThread = std::this_thread::get_id();
    simulator::LogCapture log{
        [this](DebugLevelRecord&) { return !ownLinesOnly || std::this_thread::get_id() == ownThread; }};
};

/// Keeps what it is given.
class RecordingHandler : public orvane::system::support::ValueHandler {
public:
    void handleNewValue(orvane::system::support::IValueObject const& value) override;
    /// The values so far, each as its type and its text.
    std::vector<std::string> take();

private:
    std::mutex mutex_;
    std::vector<std::string> values_;
};

/// Raised once, waited for from other threads.
class Signal {
public:
    void raise();
    void wait();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool raised_ = false;
};

}  // namespace test
