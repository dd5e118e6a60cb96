#pragma once

#include <string_view>

#include "web/facade_worker.h"

namespace web {

/// Reads what a script calls: the operation's name ("get", "set", "device" or "requestStartService") and the JSON text
/// of the array of its arguments. Returns 0 and sets `operation`, or a status: the list is too large, or its texts are
/// not what a television takes.
int parseCall(std::string_view name, std::string_view json, FacadeWorker::Operation& operation);

}  // namespace web
