#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace objbus {

/// The kind of a table iterator; its values are the television's.
enum class IteratorType : std::int32_t {};

/// One selection of a table iterator; the meaning of its fields is the television's.
struct __attribute__((visibility("default"))) TableSelection {
    std::int32_t first = 0;   ///< The television's.
    std::int32_t second = 0;  ///< The television's.
    std::string value;        ///< The television's.
};

/// One order of a table iterator: 64 bits whose meaning is the television's.
struct __attribute__((visibility("default"))) TableOrder {
    std::int32_t first = 0;   ///< The television's.
    std::int32_t second = 0;  ///< The television's.
};

/// An iterator over a table. Its operations are the television's.
class TableIterator;

static_assert(sizeof(IteratorType) == 4);
static_assert(offsetof(TableSelection, first) == 0);
static_assert(offsetof(TableSelection, second) == 4);
static_assert(offsetof(TableSelection, value) == 8);
static_assert(sizeof(TableOrder) == 8);

}  // namespace objbus
