#pragma once

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>
#include <system_error>

#include "bus/protocol/message.h"

namespace bus::server {

/// The match rule for the signal with which the bus announces that a client's connection has left. The handler must
/// check the sender.
constexpr char CLIENT_LEFT_RULE[] =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg2=''";

/// Calls an sd-bus operation that registers a handler, and returns the slot. Throws `std::system_error` if the
/// operation fails.
template <typename Operation, typename... Arguments>
Slot makeSlot(Operation const& operation, sd_bus* bus, Arguments const&... arguments) {
    Slot made;
    int const result = assignFromOutParameter(made, [&](auto slot) { return operation(bus, slot, arguments...); });
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "sd-bus refuses a handler");
    }
    return made;
}

/// Sets `nodes` to the result of a node enumerator: the keys of the map that begin with `prefix`. The keys are paths.
template <typename Map>
int makeNodeList(Map const& map, std::string_view prefix, char*** nodes) {
    auto const begin = map.lower_bound(prefix);
    auto const end = std::find_if(begin, map.end(), [&](auto const& each) { return !each.first.starts_with(prefix); });
    auto const size = static_cast<std::size_t>(std::distance(begin, end));
    auto** const list = static_cast<char**>(std::calloc(size + 1, sizeof(char*)));  // sd-bus frees the list.
    if (list == nullptr) {
        return -ENOMEM;
    }
    std::size_t position = 0;
    for (auto each = begin; each != end; ++each) {
        char* const copy = ::strdup(each->first.c_str());
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
