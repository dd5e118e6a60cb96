#pragma once

#include <optional>
#include <string_view>

#include "tools/nrx_timeline/log_line.h"

// Facts that the log lines do not state: which messages are errors, where a message has a key and a value, and whether
// a caller's thread or the delivery thread runs an operation.

namespace nrx_timeline {

/// Whether the library writes the message as an error or a critical error.
bool isError(std::string_view message);

/// The key of the model object and the value in a log message, if the message has them. In a message of the facade's
/// relay, the operation determines the key. The values must not be used after the `LogLine` is destroyed.
struct KeyAndValue {
    std::optional<std::string_view> key{};
    std::optional<std::string_view> value{};
};
KeyAndValue keyAndValueOf(LogLine const& message);

/// Which thread runs an operation that no other operation called.
enum class ThreadRole { unknown, caller, delivery };
ThreadRole threadRoleOf(std::string_view operation);

}  // namespace nrx_timeline
