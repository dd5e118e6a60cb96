#include "support.h"

#include <unistd.h>

#include <map>
#include <utility>

namespace {

std::mutex sleepsMutex;
std::vector<unsigned int> sleeps;

}  // namespace

/// Stands before the C library's for the whole program, so that waiting costs the tests no time.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds) {
    std::lock_guard const lock(sleepsMutex);
    sleeps.push_back(microseconds);
    return 0;
}

namespace test {

std::vector<unsigned int> takeSleeps() {
    std::lock_guard const lock(sleepsMutex);
    return std::exchange(sleeps, {});
}

std::string logLine(char const* severity, std::string const& file, std::string const& function,
                    std::string const& message) {
    return std::string(severity) + " [B-LOG] " + file + ":#:" + function + "(): " + message + "\n";
}

Lines traced(std::string const& file, std::string const& function, Lines const& inside) {
    std::string const place = file + ":#:" + function + "() \n";
    return joined({{"DEBUG [TRACE -> " + function + "(IN)] " + place},
                   inside,
                   {"DEBUG [TRACE <- " + function + "(OUT)] " + place}});
}

Lines joined(std::vector<Lines> const& parts) {
    Lines all;
    for (Lines const& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Lines TelevisionTest::logged() {
    static std::map<int, std::string> const names{
        {1, "CRITICAL "}, {1000, "ERROR "}, {4000, "INFO "}, {5000, "DEBUG "}};
    Lines lines;
    for (auto& [severity, text] : log.take()) {
        auto const number = text.find(".cpp:") + 5;
        text.replace(number, text.find(':', number) - number, "#");
        lines.push_back(names.at(severity) + text);
    }
    return lines;
}

void RecordingHandler::handleNewValue(orvane::system::support::IValueObject const& value) {
    std::lock_guard const lock(mutex_);
    values_.push_back(std::to_string(value.type()) + " " + value.convertToStringType());
}

std::vector<std::string> RecordingHandler::take() {
    std::lock_guard const lock(mutex_);
    return std::exchange(values_, {});
}

void Signal::raise() {
    std::lock_guard const lock(mutex_);
    raised_ = true;
    changed_.notify_all();
}

void Signal::wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return raised_; });
}

}  // namespace test
