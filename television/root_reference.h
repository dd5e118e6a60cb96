#pragma once

#include "frame/process.h"
#include "objbus/root_interface.h"

// Private to the televisions.

namespace television {

/// What the root interface is looked up by.
constexpr char ROOT_INTERFACE_NAME[] = "torvi.ob.interfaces.tvapi.RootInterface";

/// What a lookup of the root interface gives.
class RootReference final : public frame::Interface {
public:
    explicit RootReference(objbus::RootInterface* target) : target_(target) {}
    void* getObject() override { return target_; }

private:
    objbus::RootInterface* target_;
};

}  // namespace television
