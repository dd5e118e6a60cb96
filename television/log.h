#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base_utils/debug_log.h"

/// The diagnostic log of the televisions here: one write to standard error per line, from the environment variable
/// NRX_LOG (off, critical, error, info or debug; error by default) until `setLogLevel`.
///
/// With NRX_LOG_STAMP=1 each of these lines begins with the moment and the thread that wrote it, `[12345.678901 2231]
/// `: seconds and microseconds of CLOCK_MONOTONIC, and the kernel's number of the thread.
namespace television {

/// Admits lines of this severity and the more severe ones.
enum class LogLevel : int { off = 0, critical = 1, error = 1000, info = 4000, debug = 5000 };

/// Sets `level` to the level named by `word` (as NRX_LOG takes it) and returns true, or returns false for an unknown
/// word.
__attribute__((visibility("default"))) bool parseLogLevel(std::string_view word, LogLevel& level);

/// Decides for all threads, from now on. Any thread may call it.
__attribute__((visibility("default"))) void setLogLevel(LogLevel level);

/// Takes a line, which is escaped and without its line feed. Called on the thread that writes, one line at a time; it
/// must not write lines itself.
using LogSink = std::function<void(int severity, std::string const& line)>;

/// Hands the lines that the level admits to `sink` instead of standard error. Empty: standard error again, once no call
/// is running. Threads log until the process has ended, so that its exit does not destroy the sink: set another one
/// before anything that it uses is destroyed.
__attribute__((visibility("default"))) void setLogSink(LogSink sink);

/// Keeps the lines written while it lives, instead of sending them to standard error. One at a time in a process
/// (a second constructor throws `std::logic_error`).
class __attribute__((visibility("default"))) LogCapture {
public:
    /// One line that was kept.
    struct Line {
        int severity;      ///< Of the check that last let the writing thread through.
        std::string text;  ///< As written, line feed included.
    };
    /// Decides instead of the level; may write the record's last two words. Called with no lock of the log's held.
    using Check = std::function<bool(DebugLevelRecord&)>;

    /// Admits every line unless `check` says otherwise.
    explicit LogCapture(Check check = {});
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;
    /// Waits for lines being written and checks being made by other threads.
    ~LogCapture();

    /// The lines so far, in the order written; they are forgotten here.
    [[nodiscard]] std::vector<Line> take();

    /// For the log operations: what `check` says, or true without one.
    bool admits(DebugLevelRecord& record) const;
    /// For the log operations too: keeps one line.
    void add(Line line);

private:
    Check check_;
    std::mutex mutex_;
    std::vector<Line> lines_;
};

}  // namespace television
