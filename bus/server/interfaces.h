#pragma once

#include <systemd/sd-bus.h>

namespace bus::server {

/// One interface of the objects of the model, whose handlers are given a `ServedObject` that has it.
struct ObjectInterface {
    char const* name;
    sd_bus_vtable const* table;
};

/// All of them; the last one has no name.
extern ObjectInterface const OBJECT_INTERFACES[];

}  // namespace bus::server
