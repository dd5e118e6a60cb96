#pragma once

#include "frame/process.h"
#include "objbus/root_interface.h"
#include "television/status.h"

namespace television {

/// The name for lookups of the root interface.
constexpr char ROOT_INTERFACE_NAME[] = "torvi.ob.interfaces.tvapi.RootInterface";

/// The root interface's reserved operations, which the televisions do not support.
class RootInterfaceBase : public objbus::RootInterface {
public:
    int platformReserved1() override { return STATUS_NOT_SUPPORTED; }
    int platformReserved2() override { return STATUS_NOT_SUPPORTED; }
    int platformReserved3() override { return STATUS_NOT_SUPPORTED; }
};

/// The result of a lookup of the root interface.
class RootReference final : public frame::Interface {
public:
    explicit RootReference(objbus::RootInterface* root) : root_(root) {}
    void* getObject() override { return root_; }

private:
    objbus::RootInterface* root_;
};

}  // namespace television
