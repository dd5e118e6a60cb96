#pragma once

namespace orvane::system::support {

/// Statuses of the access layer, besides the -1 of `ActionAccess::invoke` and the 4 of `IteratorAccess::create`. Any
/// other value comes unchanged from the television's model.
enum Status : int {
    STATUS_OK = 0,                       ///< Done, or nothing was to be done.
    STATUS_ERR_CONNECT_FAILED = 5,       ///< A connect did not obtain the model object within its budget.
    STATUS_ERR_VALUE_TYPE_MISMATCH = 6,  ///< The model object has another type than the operation needs.
    STATUS_ERR_UNKNOWN_KEY = 7,          ///< The facade was given a key that it does not hold.
    STATUS_ERR_MISSING_VALUE = 8,        ///< The access object is keyed "missing".
};

}  // namespace orvane::system::support
