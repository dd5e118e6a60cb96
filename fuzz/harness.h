#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <tuple>

/// Runs a harness on the bytes. The fuzzer calls this function repeatedly.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace fuzz {

using Strings = std::vector<std::string>;

/// Aborts the program if the condition does not hold. The fuzzer reports the abort.
inline void expect(bool condition, char const* what) {
    if (!condition) {
        std::fprintf(stderr, "expected: %s\n", what);
        std::abort();
    }
}

/// The input of one run. The input determines every choice of the harness. If the order of the choices changes, the
/// kept inputs lead to other choices.
class Bytes : public FuzzedDataProvider {
public:
    using FuzzedDataProvider::FuzzedDataProvider;

    bool isLeft() { return remaining_bytes() > 0; }
    bool nextBool() { return ConsumeBool(); }
    template <typename Number>
    Number number(Number least = std::numeric_limits<Number>::min(), Number most = std::numeric_limits<Number>::max()) {
        return ConsumeIntegralInRange(least, most);
    }
    std::size_t indexBelow(std::size_t size) { return number<std::size_t>(0, size - 1); }
    std::string text(std::size_t longest) { return ConsumeRandomLengthString(longest); }
    template <typename Elements>
    auto& pick(Elements& elements) {
        return elements[indexBelow(std::size(elements))];
    }
    /// Returns `count` elements, each made by `make`.
    template <typename Make>
    auto makeList(std::size_t count, Make const& make) {
        std::vector<decltype(make())> elements(count);
        std::generate(elements.begin(), elements.end(), make);
        return elements;
    }
    /// Runs one step, which the input chooses.
    template <typename... Steps>
    void runOneOf(Steps const&... steps) {
        std::size_t chosen = indexBelow(sizeof...(steps));
        static_cast<void>(((chosen-- == 0 && (steps(), true)) || ...));
    }
};

}  // namespace fuzz
