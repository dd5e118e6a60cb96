#pragma once

namespace orvane::system::support {

/// Statuses of the access layer, in addition to the -1 of `ActionAccess::invoke` and the 4 of `IteratorAccess::create`.
/// Any other value is the model's own status, unchanged.
enum Status : int {
    STATUS_OK = 0,                       ///< Success, also if there was nothing to do.
    STATUS_ERR_CONNECT_FAILED = 5,       ///< No root interface, or no model object within the connect budget.
    STATUS_ERR_VALUE_TYPE_MISMATCH = 6,  ///< The object has another type than needed, or cannot hold the number.
    STATUS_ERR_UNKNOWN_KEY = 7,          ///< The key is neither that of the command list nor that of the event list.
    STATUS_ERR_MISSING_VALUE = 8,        ///< The access object's key is "missing".
};

}  // namespace orvane::system::support
