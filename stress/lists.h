#pragma once

#include <cstdlib>
#include <string>
#include <vector>

namespace stress {

using List = std::vector<std::string>;

/// The list of a number above 0: each of its elements carries it, and how many and how long they are follows from it.
inline List listOf(int number) {
    return List(1 + static_cast<std::size_t>(number) % 40,
                std::to_string(number) + std::string(static_cast<std::size_t>(number) * 7 % 300, '.'));
}

/// The number whose list it is; 0 when it is none's.
inline int numberOf(List const& list) {
    int const number = list.empty() ? 0 : std::atoi(list[0].c_str());
    return number > 0 && list == listOf(number) ? number : 0;
}

}  // namespace stress
