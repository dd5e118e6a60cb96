#pragma once

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "bus/protocol/message.h"

namespace bus::server {

/// The slot that an operation of the bus's makes, of those that register handlers. Throws `std::system_error`.
template <typename Operation, typename... Arguments>
Slot registered(Operation const& operation, sd_bus* bus, Arguments const&... arguments) {
    sd_bus_slot* slot = nullptr;
    if (int const result = operation(bus, &slot, arguments...); result < 0) {
        throw std::system_error(-result, std::generic_category(), "the bus takes no objects");
    }
    return Slot(slot);
}

/// Makes the list that a node enumerator returns of the map's keys, which are paths: those that begin with the prefix.
template <typename Map>
int listPaths(Map const& map, std::string_view prefix, char*** nodes) {
    auto const begin = map.lower_bound(prefix);
    auto const end = std::find_if(begin, map.end(), [&](auto const& each) { return !each.first.starts_with(prefix); });
    auto const size = static_cast<std::size_t>(std::distance(begin, end));
    auto** const list = static_cast<char**>(std::calloc(size + 1, sizeof(char*)));  // The bus frees it.
    if (list == nullptr) {
        return -ENOMEM;
    }
    std::size_t position = 0;
    for (auto place = begin; place != end; ++place) {
        char* const copy = ::strdup(place->first.c_str());
        if (copy == nullptr) {
            while (position > 0) {
                std::free(list[--position]);
            }
            std::free(list);
            return -ENOMEM;
        }
        list[position++] = copy;
    }
    *nodes = list;
    return 0;
}

}  // namespace bus::server
