#include "tools/nrx_timeline/log_line.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

namespace nrx_timeline {

namespace {

/// How the lines of one kind begin. A line begins with the tag. In a trace line, the operation precedes `direction`.
struct Form {
    LogLine::Kind kind;
    std::string_view tag;
    std::string_view direction;
};

constexpr Form FORMS[] = {
    {LogLine::Kind::enter, "[TRACE -> ", "(IN)] "},
    {LogLine::Kind::leave, "[TRACE <- ", "(OUT)] "},
    {LogLine::Kind::message, "[B-LOG] ", ""},
};

bool isNumber(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Consumes the text before the first `end`, and `end` itself.
bool takeUntil(std::string_view& text, std::string_view end, std::string_view& taken) {
    std::size_t const at = text.find(end);
    if (at == std::string_view::npos) {
        return false;
    }
    taken = text.substr(0, at);
    text.remove_prefix(at + end.size());
    return true;
}

template <typename Number>
bool toNumber(std::string_view text, Number& number) {
    return isNumber(text) && std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

/// Consumes the stamp, if the line has one. Returns false if the stamp is incomplete or invalid.
bool takeTimestamp(std::string_view& line, std::optional<Timestamp>& stamp) {
    constexpr std::int64_t MOST_SECONDS = 1'000'000'000'000;  // This time in microseconds fits into 64 bits.
    if (line.size() < 2 || line[0] != '[' || !isNumber(line.substr(1, 1))) {
        return true;
    }
    line.remove_prefix(1);
    std::string_view seconds;
    std::string_view fraction;
    std::string_view thread;
    std::int64_t whole = 0;
    std::int64_t rest = 0;
    Timestamp found{};
    if (!takeUntil(line, ".", seconds) || !takeUntil(line, " ", fraction) || !takeUntil(line, "] ", thread) ||
        !toNumber(seconds, whole) || whole > MOST_SECONDS || fraction.size() != 6 || !toNumber(fraction, rest) ||
        !toNumber(thread, found.thread)) {
        return false;
    }
    found.microseconds = whole * 1'000'000 + rest;
    stamp = found;
    return true;
}

/// Consumes "file:line:".
bool takeSourceLocation(std::string_view& line, std::string& sourceLocation) {
    std::string_view file;
    std::string_view number;
    if (!takeUntil(line, ":", file) || !takeUntil(line, ":", number) || file.empty() || !isNumber(number)) {
        return false;
    }
    sourceLocation = std::string(file) + ":" + std::string(number);
    return true;
}

bool parseTrace(std::string_view line, std::string_view direction, LogLine& parsed) {
    std::string_view operation;
    if (!takeUntil(line, direction, operation) || operation.empty() ||
        !takeSourceLocation(line, parsed.sourceLocation)) {
        return false;
    }
    parsed.operation = operation;
    return line == parsed.operation + "() " || line == parsed.operation + "()";  // Editors may remove the blank.
}

bool parseMessage(std::string_view line, LogLine& parsed) {
    std::string_view operation;
    if (!takeSourceLocation(line, parsed.sourceLocation) || !takeUntil(line, "(): ", operation) || operation.empty()) {
        return false;
    }
    parsed.operation = operation;
    parsed.messageText = line;
    return true;
}

}  // namespace

std::optional<LogLine> parseLine(std::string_view line) {
    LogLine parsed{};
    if (line.ends_with('\r')) {  // A log from a serial port has carriage returns.
        line.remove_suffix(1);
    }
    if (!takeTimestamp(line, parsed.stamp)) {
        return std::nullopt;
    }
    auto const* const form =
        std::find_if(std::begin(FORMS), std::end(FORMS), [line](Form const& one) { return line.starts_with(one.tag); });
    if (form == std::end(FORMS)) {
        return std::nullopt;
    }
    line.remove_prefix(form->tag.size());
    bool const isInterleaved = std::any_of(std::begin(FORMS), std::end(FORMS), [line](Form const& other) {
        return line.find(other.tag) != std::string_view::npos;
    });
    parsed.kind = form->kind;
    bool const isWhole =
        form->direction.empty() ? parseMessage(line, parsed) : parseTrace(line, form->direction, parsed);
    return isWhole && !isInterleaved ? std::optional(std::move(parsed)) : std::nullopt;
}

}  // namespace nrx_timeline
