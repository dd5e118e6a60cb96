#include "tools/nrx_console/example_model.h"

#include <filesystem>

namespace nrx_console {

namespace {

/// The directory of the shipped example, or empty if the example is not installed.
std::string shippedExampleDirectory() {
    std::error_code failure;
    auto const program = std::filesystem::read_symlink("/proc/self/exe", failure);
    for (char const* const place : {"example", "../nrx_console/example", "../share/nrx_console/example"}) {
        auto const directory = program.parent_path() / place;
        if (!failure && std::filesystem::exists(directory / "model.json", failure)) {
            return directory.lexically_normal();
        }
    }
    return "";
}

}  // namespace

TelevisionModel loadModelOrExampleIfInstalled(std::optional<std::string> const& file) {
    if (file) {
        return {readModelFile(*file), ""};
    }
    std::string const example = shippedExampleDirectory();
    return example.empty() ? TelevisionModel{} : TelevisionModel{readModelFile(example + "/model.json"), example};
}

}  // namespace nrx_console
