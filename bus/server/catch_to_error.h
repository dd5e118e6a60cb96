#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>
#include <exception>
#include <new>

namespace bus::server {

/// Runs the body of a handler that libsystemd calls. An exception becomes the error of the reply.
template <typename Body>
int catchToError(sd_bus_error* error, Body const& body) noexcept {
    try {
        return body();
    } catch (std::bad_alloc const&) {
        return sd_bus_error_set_errno(error, ENOMEM);
    } catch (std::exception const& failure) {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, failure.what());
    } catch (...) {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, "the television failed");
    }
}

/// An sd-bus handler that calls the member function `METHOD` of the object with which the handler was registered.
template <auto METHOD>
struct MemberHandlerAdapter;

template <typename Object, int (Object::*METHOD)(sd_bus_message*, sd_bus_error*)>
struct MemberHandlerAdapter<METHOD> {
    static int handle(sd_bus_message* message, void* object, sd_bus_error* error) noexcept {
        return catchToError(error, [=] { return (static_cast<Object*>(object)->*METHOD)(message, error); });
    }
};
template <auto METHOD>
constexpr sd_bus_message_handler_t memberHandler = MemberHandlerAdapter<METHOD>::handle;

}  // namespace bus::server
