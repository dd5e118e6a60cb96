#pragma once

#include <optional>
#include <string_view>

#include "tools/nrx_timeline/log_line.h"

// Facts that the log lines do not state: which messages are errors, where a message has a key and a value, and which
// thread runs an operation.

namespace nrx_timeline {

/// Whether the library writes the message as an error or a critical error.
bool isError(std::string_view message);

/// The key of the model object and the value in a log message, if the message has them. Both refer to the text of the
/// `LogLine` and must not outlive this text.
struct KeyAndValue {
    std::optional<std::string_view> key{};
    std::optional<std::string_view> value{};
};
KeyAndValue keyAndValueOf(LogLine const& message);

/// Which thread runs an operation that no other operation called.
enum class ThreadRole { unknown, caller, delivery };
ThreadRole threadRoleOf(std::string_view operation);

}  // namespace nrx_timeline
