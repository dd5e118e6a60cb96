#pragma once

#include <string>
#include <variant>
#include <vector>

namespace television {

/// The value of a plain-valued model object. The alternative determines the object's type.
using Value = std::variant<int, long long, std::string, std::vector<int>, std::vector<std::string>>;

/// The rows of a table.
using Rows = std::vector<std::vector<std::string>>;

}  // namespace television
