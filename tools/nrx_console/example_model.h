#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/nrx_console/model_file.h"

namespace nrx_console {

/// The objects of a television, and where they come from.
struct Model {
    std::vector<ModelObject> objects;
    std::string example;  ///< The directory of the shipped example when they are its objects.
};

/// Reads the model file, or the shipped example's when there is none; no objects when that is not there. Throws
/// `ModelError`.
Model loadModel(std::optional<std::string> const& file);

}  // namespace nrx_console
