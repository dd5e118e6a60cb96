#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>
#include <exception>
#include <new>

namespace bus::server {

/// Does the work of a handler, which the C library calls: what it throws becomes the reply.
template <typename Work>
int guarded(sd_bus_error* error, Work const& work) noexcept {
    try {
        return work();
    } catch (std::bad_alloc const&) {
        return sd_bus_error_set_errno(error, ENOMEM);
    } catch (std::exception const& failure) {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, failure.what());
    } catch (...) {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, "the television failed");
    }
}

}  // namespace bus::server
