#pragma once

#include <new>
#include <system_error>

#include "television/status.h"

namespace television {

/// Runs an operation that returns a status. Converts its exceptions to statuses.
template <typename Operation>
int catchToStatus(Operation const& operation) noexcept {
    try {
        return operation();
    } catch (std::bad_alloc const&) {
        return STATUS_NO_RESOURCES;
    } catch (std::system_error const&) {  // The system has no thread or descriptor left.
        return STATUS_NO_RESOURCES;
    } catch (...) {
        return STATUS_INTERNAL_ERROR;
    }
}

}  // namespace television
