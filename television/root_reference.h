#pragma once

#include "frame/process.h"
#include "objbus/root_interface.h"

namespace television {

/// The name for lookups of the root interface.
constexpr char ROOT_INTERFACE_NAME[] = "torvi.ob.interfaces.tvapi.RootInterface";

/// The result of a lookup of the root interface.
class RootReference final : public frame::Interface {
public:
    explicit RootReference(objbus::RootInterface* root) : root_(root) {}
    void* getObject() override { return root_; }

private:
    objbus::RootInterface* root_;
};

}  // namespace television
