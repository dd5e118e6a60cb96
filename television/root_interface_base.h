#pragma once

#include <string>

#include "objbus/root_interface.h"
#include "television/report.h"
#include "television/status.h"

namespace television {

/// The common part of the root interfaces: the log line of a refused connect, and the reserved operations, which the
/// televisions do not support.
class RootInterfaceBase : public objbus::RootInterface {
public:
    int platformReserved1() override { return STATUS_NOT_SUPPORTED; }
    int platformReserved2() override { return STATUS_NOT_SUPPORTED; }
    int platformReserved3() override { return STATUS_NOT_SUPPORTED; }

    int connectObject(std::string const& key, objbus::Observer* observer, objbus::Object*& object) final {
        int const status = connect(key, observer, object);
        return reportRefusal("connect", key.c_str(), status, object != nullptr);
    }

private:
    virtual int connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object) = 0;
};

}  // namespace television
