#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace objbus {

/// One argument of an action call, or one result of an action. Passed by reference in a `std::vector`, so the layout is
/// part of the contract.
struct __attribute__((visibility("default"))) Argument {
    std::int16_t tag = 0;   ///< Defined by the television; the library's own calls send 0.
    std::int8_t index = 0;  ///< Position in the action's argument or result list, from 0.
    std::int8_t flags = 0;  ///< Defined by the television; the library's own calls send 0.
    std::string value;      ///< The text of the argument or result.
};

static_assert(offsetof(Argument, tag) == 0);
static_assert(offsetof(Argument, index) == 2);
static_assert(offsetof(Argument, flags) == 3);
static_assert(offsetof(Argument, value) == alignof(std::string));
static_assert(sizeof(Argument) == alignof(std::string) + sizeof(std::string));

}  // namespace objbus
