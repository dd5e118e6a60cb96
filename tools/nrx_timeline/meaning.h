#pragma once

#include <optional>
#include <string_view>

#include "tools/nrx_timeline/log_line.h"

// The meaning of the library's operations and messages, which their lines do not state.

namespace nrx_timeline {

/// Whether the library writes the message as an error or a critical error.
bool isError(std::string_view message);

/// The key of the model object and the value in a message, as far as it has them. Both are parts of the line.
struct Details {
    std::optional<std::string_view> key{};
    std::optional<std::string_view> value{};
};
Details detailsOf(LogLine const& message);

/// Which thread runs an operation that no other operation called.
enum class Role { unknown, caller, delivery };
Role roleOf(std::string_view operation);

}  // namespace nrx_timeline
