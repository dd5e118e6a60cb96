#pragma once

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "simulator/television.h"

namespace nrx_console {

struct Action {};

/// An object of the data model: a plain value, an action or a table.
using Content = std::variant<simulator::Value, Action, simulator::Rows>;

struct ModelObject {
    std::string key;
    Content content;
};

/// A model file or a value that cannot be taken; the text says what, where and what was expected.
struct ModelError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads the objects of a model file, all or none:
///
///     {"objects": [{"key": "…", "type": "string", "value": "…"}, …]}
///
/// The types are integer, int64, string, integer-list, string-list, action (which has no value) and table (a list of
/// rows, each a list of strings). Throws `ModelError`.
std::vector<ModelObject> readModelFile(std::string const& path);

/// The object of a `type` other than table, with the value that the words of a command line give. Throws `ModelError`.
Content contentFromWords(std::string const& type, std::vector<std::string> const& words);

/// The type's name, as in a model file.
std::string typeName(simulator::Value const& value);

}  // namespace nrx_console
