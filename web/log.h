#pragma once

namespace web {

/// The tag of the extension's lines in the television's log.
inline constexpr char LOG_TAG[] = "WEB";

}  // namespace web
