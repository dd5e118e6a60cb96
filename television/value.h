#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace television {

/// The value of a plain-valued model object; its alternative decides the object's type.
using Value = std::variant<int, long long, std::string, std::vector<int>, std::vector<std::string>>;

/// The rows of a table.
using Rows = std::vector<std::vector<std::string>>;

/// The payload of a number in bytes, about.
inline std::size_t sizeOf(long long /*value*/) { return sizeof(long long); }
/// The payload of a string in bytes, about.
inline std::size_t sizeOf(std::string const& value) { return value.size() + sizeof(long long); }
/// The payload of a list in bytes, about: that of its elements.
template <typename T>
std::size_t sizeOf(std::vector<T> const& values) {
    std::size_t size = 0;
    for (T const& value : values) {
        size += sizeOf(value);
    }
    return size;
}

/// The list that is written by positions: the elements in their order, without gaps.
template <typename Element>
std::vector<Element> writtenList(std::map<int, Element> const& elements) {
    std::vector<Element> list;
    list.reserve(elements.size());
    for (auto const& [position, element] : elements) {
        list.push_back(element);
    }
    return list;
}

}  // namespace television
