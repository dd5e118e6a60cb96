// The main function of a harness without libFuzzer: gives the harness each file of the named folders.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

#include "fuzz/harness.h"

int main(int count, char** arguments) {
    std::size_t inputs = 0;
    for (int i = 1; i < count; ++i) {
        std::error_code error;
        for (auto const& entry : std::filesystem::directory_iterator(arguments[i], error)) {
            std::fprintf(stderr, "%s\n", entry.path().c_str());  // After a failure, the last line names the input.
            std::ifstream file(entry.path(), std::ios::binary);
            std::vector<char> const bytes{std::istreambuf_iterator<char>(file), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
            ++inputs;
        }
        if (error) {
            std::fprintf(stderr, "%s: %s\n", arguments[i], error.message().c_str());
            return 1;
        }
    }
    std::fprintf(stderr, "%zu inputs replayed\n", inputs);  // The harnesses silence the standard output.
    return inputs > 0 ? 0 : 1;
}
