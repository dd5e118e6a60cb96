#pragma once

#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"

// Private to the access layer.

namespace orvane::system::support {

/// Returns a list value with one element per item, in order.
template <typename T>
ValueObject listValue(std::vector<T> const& items) {
    ValueObject list;
    list.typeTag = VALUE_VECTOR;
    std::vector<ValueObject>(items.begin(), items.end()).swap(list.elements);
    return list;
}

}  // namespace orvane::system::support
