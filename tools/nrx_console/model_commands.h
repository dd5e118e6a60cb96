#pragma once

#include <map>
#include <memory>
#include <string>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/object_type.h"
#include "tools/nrx_console/command.h"

namespace nrx_console {

/// Whether objects of the type have a value that can be read.
bool hasValue(objbus::ObjectTypeSpec type);

/// The value of an object, as it can be typed. Throws `CommandError` if it has none.
std::string readValue(std::string const& word);

/// The commands for any object of the model, through the access layer.
class ModelCommands {
public:
    ModelCommands() = default;
    ModelCommands(ModelCommands const&) = delete;
    ModelCommands& operator=(ModelCommands const&) = delete;
    ~ModelCommands();

    /// The commands refer to this object.
    Commands commands();

private:
    void watch(Words const& arguments);
    void unwatch(Words const& arguments);
    void invoke(Words const& arguments);

    std::map<std::string, std::unique_ptr<orvane::system::support::ValueAccessBase>> watched_;
    /// The invoked actions, which stay connected since answers may be pending.
    std::map<std::string, std::unique_ptr<orvane::system::support::ActionAccess>> actions_;
};

}  // namespace nrx_console
