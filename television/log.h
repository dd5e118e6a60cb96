#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base_utils/debug_log.h"

/// The diagnostic log of the televisions: one write to standard error per line. The environment variable NRX_LOG (off,
/// critical, error, info or debug; error by default) sets the level until `setLogLevel` is called.
///
/// With NRX_LOG_STAMP=1 each line on standard error begins with the time and the writing thread, for example
/// `[12345.678901 2231] `: seconds and microseconds of CLOCK_MONOTONIC, and the kernel's number of the thread.
namespace television {

/// `off` admits no lines. Every other level admits the lines of its own severity and all more severe lines. A more
/// severe line has a lower severity number.
enum class LogLevel : int { off = 0, critical = 1, error = 1000, info = 4000, debug = 5000 };

/// Sets `level` to the level named by `word` (a value of NRX_LOG) and returns true, or returns false for an unknown
/// word.
__attribute__((visibility("default"))) bool parseLogLevel(std::string_view word, LogLevel& level);

/// Sets the level for all threads. Callable from any thread.
__attribute__((visibility("default"))) void setLogLevel(LogLevel level);

/// Receives one line, escaped and without its line feed. Called on the writing thread, one line at a time. A sink must
/// not write log lines.
using LogSink = std::function<void(int severity, std::string const& line)>;

/// After this call `sink`, not standard error, receives each line that the level admits and no `LogCapture` captures.
/// Waits for a running call of the earlier sink, and destroys the earlier sink. An empty `sink` selects standard error
/// again. The end of the process does not destroy the last sink, because threads log until the end. Replace the sink
/// before any object that the sink uses is destroyed.
__attribute__((visibility("default"))) void setLogSink(LogSink sink);

/// Captures the lines written during its lifetime instead of writing the lines to standard error. A process has at most
/// one capture at a time: otherwise the constructor throws `std::logic_error`.
class __attribute__((visibility("default"))) LogCapture {
public:
    /// One captured line.
    struct Line {
        int severity;      ///< The severity of the last line that `debugCheckLevel` admitted on the writing thread.
        std::string text;  ///< As written, including the line feed.
    };
    /// Decides, instead of the log level, whether a line is admitted. May write the record's `frame` and `chunk`.
    /// Called with no log lock held.
    using Check = std::function<bool(DebugLevelRecord&)>;

    /// Admits the lines that `check` admits. If `check` is empty, admits all lines.
    explicit LogCapture(Check check = {});
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;
    /// Waits until no other thread adds a line to this capture or runs `check`.
    ~LogCapture();

    /// Returns and removes the captured lines, in the order of writing.
    [[nodiscard]] std::vector<Line> take();

    /// `debugCheckLevel` calls this function. Returns the result of `check`, or true if `check` is empty.
    bool admits(DebugLevelRecord& record) const;
    /// `debugOutput` calls this function. Adds a captured line.
    void add(Line line);

private:
    Check check_;
    std::mutex mutex_;
    std::vector<Line> lines_;
};

}  // namespace television
