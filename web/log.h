#pragma once

#include "television/report.h"

namespace web {

/// Writes one line of severity "error" to the television's log, with the extension's tag. Allocates no memory for a
/// short line.
inline void reportError(char const* line) noexcept { television::reportError("WEB", line); }

}  // namespace web
