#pragma once

#include <algorithm>
#include <string>
#include <variant>
#include <vector>

#include "bus/message.h"
#include "television/value.h"

namespace nrx_television {

// Whether the bus carries all texts of a value.

template <typename T>
bool isCarried(T const& /*value*/) {
    return true;
}

inline bool isCarried(std::string const& text) { return bus::carries(text); }

template <typename T>
bool isCarried(std::vector<T> const& list) {
    return std::all_of(list.begin(), list.end(), [](T const& each) { return isCarried(each); });
}

inline bool isCarried(television::Value const& value) {
    return std::visit([](auto const& typed) { return isCarried(typed); }, value);
}

}  // namespace nrx_television
