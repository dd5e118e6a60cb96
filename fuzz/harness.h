#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// One run of a harness on the bytes; the fuzzer calls it again and again.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace fuzz {

/// Ends the program, which the fuzzer takes for a find, unless it holds.
inline void expect(bool holds, char const* what) {
    if (!holds) {
        std::fprintf(stderr, "expected: %s\n", what);
        std::abort();
    }
}

}  // namespace fuzz
