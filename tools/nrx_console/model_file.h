#pragma once

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "objbus/object_type.h"
#include "television/value.h"
#include "tools/nrx_console/words.h"

namespace nrx_console {

struct Action {};

/// An object of which only the type is given, as a number.
struct Bare {
    objbus::ObjectTypeSpec type;
};

/// An object of the data model: a plain value, an action, a table, or a bare one, which no model file has.
using Content = std::variant<television::Value, Action, television::Rows, Bare>;

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
/// rows, each a list of strings). Throws `ModelError`, also for a file of more than 64 MiB.
std::vector<ModelObject> readModelFile(std::string const& path);

/// The object of a `type`, with the value that the words of a command line give: a table's rows are words that hold
/// words, a bare one's value is its type. Throws `ModelError` or `CommandError`.
Content contentFromWords(std::string const& type, Words const& words);

/// The value as such words.
Words wordsOfValue(television::Value const& value);

/// The type's name, as in a model file; a number for a type that no model file has.
std::string typeName(objbus::ObjectTypeSpec type);

/// All types that `contentFromWords` takes, parted by bars.
std::string typeNames();

}  // namespace nrx_console
