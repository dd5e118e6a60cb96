#include "fuzz/harness.h"

int LLVMFuzzerTestOneInput(std::uint8_t const* /*data*/, std::size_t /*size*/) { return 0; }
