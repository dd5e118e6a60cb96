#pragma once

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "television/kinds.h"
#include "tools/nrx_console/words.h"

namespace nrx_console {

struct ActionContent {};

/// An object that has only a type, which is given as a number.
struct TypeOnlyContent {
    objbus::ObjectTypeSpec type;
};

/// The content of an object of the data model. An object without content (`TypeOnlyContent`) cannot be in a model file.
using Content = std::variant<television::Value, ActionContent, television::Rows, TypeOnlyContent>;

struct ModelObject {
    std::string key;
    Content content;
};

/// A model file or a value is invalid. The message says why. For a model file, the message also names the file.
struct ModelError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads the objects of a model file of at most 64 MiB:
///
///     {"objects": [{"key": "…", "type": "string", "value": "…"}, …]}
///
/// The types are integer, int64, string, integer-list, string-list, action (without a value) and table (a list of rows,
/// each a list of strings). Throws `ModelError` unless the whole file is valid.
std::vector<ModelObject> readModelFile(std::string const& path);

/// Makes the content of an object from the words of a command. `type` is one of the names in `typeNames`. For a table,
/// each word contains the columns of a row. For the type "bare", the only word is the number of the object's type.
/// Throws `ModelError` or `CommandError`.
Content contentFromCommandWords(std::string const& type, Words const& words);

/// The words from which `contentFromCommandWords` makes the value.
Words wordsOfValue(television::Value const& value);

/// Returns the name of the type, as `contentFromCommandWords` takes the name. For a type that has no such name, returns
/// "bare" and the number of the type.
std::string typeName(objbus::ObjectTypeSpec type);

/// The types that `contentFromCommandWords` takes, separated by bars.
std::string typeNames();

/// Calls `use.operator()<T>()` for the plain kind with the name. `T` is the type of the kind's values. Returns whether
/// the kind exists.
template <typename Use>
bool callForPlainKindNamed(std::string const& name, Use const& use) {
    return television::anyOfPlainKinds([&]<typename T>() {
        bool const isNamed = name == television::PlainKindTraits<T>::NAME;
        if (isNamed) {
            use.template operator()<T>();
        }
        return isNamed;
    });
}

}  // namespace nrx_console
