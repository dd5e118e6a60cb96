#pragma once

namespace web {

/// The extension's lines in the television's log bear it.
inline constexpr char LOG_TAG[] = "WEB";

}  // namespace web
