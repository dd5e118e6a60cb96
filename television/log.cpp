#include "television/log.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "television/environment.h"
#include "television/mutex.h"
#include "television/printable.h"
#include "television/report.h"

namespace television {

namespace {

constexpr std::uint32_t SEVERITY_BITS = 0xFFFF;
constexpr std::size_t SHORT_LINE_SIZE = 512;  ///< Lines below this size need no allocation.
constexpr std::size_t STAMP_SIZE = 48;

/// The severity of the last line that `debugCheckLevel` admitted on this thread.
thread_local int lastSeverity = 0;

LogLevel levelFromEnvironment() {
    return fromEnvironment("NRX_LOG", LogLevel::error, "off, critical, error, info or debug", "error",
                           [](std::string_view word) {
                               LogLevel level{};
                               return parseLogLevel(word, level) ? std::optional(level) : std::nullopt;
                           });
}

bool stampsFromEnvironment() {
    return fromEnvironment("NRX_LOG_STAMP", false, "0 or 1", "0", [](std::string_view word) {
        bool const wanted = word == "1";
        return wanted || word.empty() || word == "0" ? std::optional(wanted) : std::nullopt;
    });
}

bool wantsStamps() {
    static bool const wanted = stampsFromEnvironment();
    return wanted;
}

/// Writes the stamp of the current time and thread to `begin`, if stamps are enabled. Returns the stamp's length.
std::size_t putStamp(char* begin) {
    timespec now{};
    if (!wantsStamps() || ::clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        return 0;
    }
    int const length = std::snprintf(begin, STAMP_SIZE, "[%lld.%06ld %ld] ", static_cast<long long>(now.tv_sec),
                                     static_cast<long>(now.tv_nsec / 1000), static_cast<long>(::gettid()));
    return static_cast<std::size_t>(length);
}

std::atomic<LogLevel>& admittedLevel() {
    static std::atomic<LogLevel> level = levelFromEnvironment();
    return level;
}

/// The state shared by all logging threads.
struct Shared {
    Mutex captureMutex;
    std::condition_variable captureReleased;
    std::atomic<LogCapture*> currentCapture = nullptr;  ///< Changed with `captureMutex` held.
    int captureUses NRX_GUARDED_BY(captureMutex) = 0;

    Mutex sinkMutex;
    LogSink sink NRX_GUARDED_BY(sinkMutex);
};

/// Never destroyed: threads log while the process destroys its static objects.
Shared& shared() {
    alignas(Shared) static std::byte storage[sizeof(Shared)];
    static Shared& made = *new (storage) Shared;
    return made;
}

/// Holds the current capture, or null. The capture's destructor waits until this `CaptureUse` is destroyed.
class CaptureUse {
public:
    CaptureUse() {
        if (shared_.currentCapture == nullptr) {  // The usual case takes no lock.
            return;
        }
        MutexLock const lock(shared_.captureMutex);
        capture_ = shared_.currentCapture;
        if (capture_ != nullptr) {
            ++shared_.captureUses;
        }
    }
    CaptureUse(CaptureUse const&) = delete;
    CaptureUse& operator=(CaptureUse const&) = delete;
    ~CaptureUse() {
        if (capture_ == nullptr) {
            return;
        }
        MutexLock const lock(shared_.captureMutex);
        --shared_.captureUses;
        shared_.captureReleased.notify_all();
    }

    [[nodiscard]] LogCapture* get() const { return capture_; }

private:
    Shared& shared_ = shared();
    LogCapture* capture_ = nullptr;
};

bool levelAdmits(int severity) {
    LogLevel const level = admittedLevel();
    return level != LogLevel::off && severity <= static_cast<int>(level);
}

/// Passes the line to the sink. Returns false if there is no sink.
bool sinkTakes(std::string_view text) {
    Shared& state = shared();
    MutexLock const lock(state.sinkMutex);
    if (!state.sink) {
        return false;
    }
    state.sink(lastSeverity, printable(text));
    return true;
}

void writeLine(std::string_view line) {
    CaptureUse const use;
    if (LogCapture* const capture = use.get()) {
        capture->add({lastSeverity, std::string(line)});
        return;
    }
    std::string_view const text = line.substr(0, line.size() - (line.ends_with('\n') ? 1 : 0));
    if (sinkTakes(text)) {
        return;
    }
    std::array<char, STAMP_SIZE + SHORT_LINE_SIZE> stamped;
    std::size_t const stampSize = putStamp(stamped.data());
    bool const plain = std::all_of(text.begin(), text.end(), [](char byte) { return byte >= ' ' && byte <= '~'; });
    if (plain && line.size() <= SHORT_LINE_SIZE) {  // The usual line needs no allocation.
        std::copy(line.begin(), line.end(), stamped.data() + stampSize);
        writeToStandardError({stamped.data(), stampSize + line.size()});
    } else {  // Escapes the line, because a text from outside may control the terminal or forge a line.
        writeToStandardError(std::string(stamped.data(), stampSize) + printable(text) + "\n");
    }
}

}  // namespace

bool parseLogLevel(std::string_view word, LogLevel& level) {
    constexpr std::pair<std::string_view, LogLevel> levels[] = {
        {"off", LogLevel::off},   {"critical", LogLevel::critical}, {"error", LogLevel::error},
        {"info", LogLevel::info}, {"debug", LogLevel::debug},
    };
    for (auto const& [name, named] : levels) {
        if (name == word) {
            level = named;
            return true;
        }
    }
    return false;
}

void readLogEnvironment() {
    admittedLevel();
    wantsStamps();
}

void setLogLevel(LogLevel level) { admittedLevel() = level; }

void setLogSink(LogSink newSink) {
    Shared& state = shared();
    MutexLock const lock(state.sinkMutex);
    state.sink.swap(newSink);  // The earlier sink is destroyed after the unlock, because its destructor may log.
}

LogCapture::LogCapture(Check check) : check_(std::move(check)) {
    Shared& state = shared();
    MutexLock const lock(state.captureMutex);
    if (state.currentCapture != nullptr) {
        throw std::logic_error("television: the log is captured already");
    }
    state.currentCapture = this;
}

LogCapture::~LogCapture() {
    Shared& state = shared();
    MutexLock lock(state.captureMutex);
    state.currentCapture = nullptr;
    while (state.captureUses != 0) {
        lock.wait(state.captureReleased);
    }
}

std::vector<LogCapture::Line> LogCapture::take() {
    std::lock_guard const lock(mutex_);
    return std::exchange(lines_, {});
}

bool LogCapture::admits(DebugLevelRecord& record) const { return !check_ || check_(record); }

void LogCapture::add(Line line) {
    std::lock_guard const lock(mutex_);
    lines_.push_back(std::move(line));
}

}  // namespace television

int debugCheckLevel(DebugLevelRecord* record) {
    if (record == nullptr) {
        return 0;
    }
    int const severity = static_cast<int>(record->levelCode & television::SEVERITY_BITS);
    television::CaptureUse const use;
    television::LogCapture const* const capture = use.get();
    bool const admitted = capture != nullptr ? capture->admits(*record) : television::levelAdmits(severity);
    if (admitted) {
        // The severity is stored after the check, because the check may write a line and so store another severity.
        television::lastSeverity = severity;
    }
    return admitted ? 1 : 0;
}

void debugOutput(char const* format, ...) {
    if (format == nullptr) {
        return;
    }
    std::array<char, television::SHORT_LINE_SIZE> shortLine;
    va_list arguments;
    va_start(arguments, format);
    int const length = std::vsnprintf(shortLine.data(), shortLine.size(), format, arguments);
    va_end(arguments);
    if (length < 0) {
        return;
    }
    auto const size = static_cast<std::size_t>(length);
    if (size < shortLine.size()) {
        television::writeLine({shortLine.data(), size});
        return;
    }
    std::string longLine(size, '\0');
    va_start(arguments, format);
    std::vsnprintf(longLine.data(), size + 1, format, arguments);
    va_end(arguments);
    television::writeLine(longLine);
}

char const* sourceBaseName(char const* path) {
    if (path == nullptr) {
        return "";
    }
    char const* const slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}
