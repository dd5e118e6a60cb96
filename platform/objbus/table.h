#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace objbus {

/// The kind of a table iterator. The television defines the values.
enum class IteratorType : std::int32_t {};

/// One selection of a table iterator. The television defines the meaning of the fields.
struct __attribute__((visibility("default"))) TableSelection {
    std::int32_t first = 0;   ///< Defined by the television.
    std::int32_t second = 0;  ///< Defined by the television.
    std::string value;        ///< Defined by the television.
};

/// One element of the argument `orders` of `ObjectTable::createIterator`: 64 bits. The television defines the meaning
/// of the bits.
struct __attribute__((visibility("default"))) TableOrder {
    std::int32_t first = 0;   ///< Defined by the television.
    std::int32_t second = 0;  ///< Defined by the television.
};

/// An iterator over a table. The television defines the iterator's operations.
class TableIterator;

static_assert(sizeof(IteratorType) == 4);
static_assert(offsetof(TableSelection, first) == 0);
static_assert(offsetof(TableSelection, second) == 4);
static_assert(offsetof(TableSelection, value) == 8);
static_assert(sizeof(TableOrder) == 8);

}  // namespace objbus
