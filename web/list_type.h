#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace web {

/// The facade's lists.
enum class ListType : std::size_t { COMMAND, EVENT };

inline constexpr std::array LISTS = {ListType::COMMAND, ListType::EVENT};

/// The names that pages use, by type.
inline constexpr std::array<char const*, LISTS.size()> LIST_NAMES = {"command", "event"};

template <typename T>
using PerList = std::array<T, LISTS.size()>;

/// The type's index in a `PerList`.
constexpr std::size_t indexOf(ListType type) { return static_cast<std::size_t>(type); }

constexpr std::optional<ListType> listTypeOf(std::string_view name) {
    for (ListType const type : LISTS) {
        if (name == LIST_NAMES.at(indexOf(type))) {
            return type;
        }
    }
    return std::nullopt;
}

}  // namespace web
