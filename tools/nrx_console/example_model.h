#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/nrx_console/model_file.h"

namespace nrx_console {

/// The objects of a television and their origin.
struct TelevisionModel {
    std::vector<ModelObject> objects;
    /// The directory of the shipped example if the objects are those of the example.
    std::string shippedExampleDirectory;
};

/// Reads the model file. Without `file`, reads the model of the shipped example. Returns no objects if this example is
/// not installed. Throws `ModelError`.
TelevisionModel loadModelOrExampleIfInstalled(std::optional<std::string> const& file);

}  // namespace nrx_console
