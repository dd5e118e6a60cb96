#pragma once

#include <string_view>

#include "web/facade_worker.h"

namespace web {

/// Parses a script's call: the operation's name ("get", "set", "device" or "requestStartService") and the JSON text of
/// the argument array. Returns 0 and sets `operation`. Returns another status if the name of the operation or of the
/// list is unknown, if the texts to write are too large, or if the arguments are invalid.
int parseCall(std::string_view name, std::string_view json, FacadeWorker::Operation& operation);

}  // namespace web
