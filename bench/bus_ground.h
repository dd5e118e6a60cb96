#pragma once

#include <array>
#include <memory>
#include <string>

#include "tests/child.h"

// What the benchmarks over the message bus have in common. A program of theirs starts itself as the television.

namespace bench {

inline constexpr std::array COUNTS = {3, 100, 10'000};  ///< Of the strings in a list.
inline constexpr int LENGTH = 48;

/// Lets this process, and those that it starts from now on, run on one processor alone, or on any: what goes to and fro
/// between processes takes as long as the processors are apart that the system happens to choose for them.
void runOn(bool oneAlone);

/// Serves the television on the bus at the address: it has the command list, and tells a new list of it for each byte
/// that comes from standard input, which says whose place in `COUNTS` is its length. Ends with standard input.
[[noreturn]] void serveTelevision(char const* address);

/// A bus, and a television on it.
struct Ground {
    std::string address{};
    std::unique_ptr<test::Child> bus = test::startBus(address);
    test::Child television{{"/proc/self/exe", "television", address}};
    std::string const serving = television.readLine();
};

/// The name of a benchmark of one of the lists.
std::string nameOf(std::string const& way, std::size_t which);

}  // namespace bench
