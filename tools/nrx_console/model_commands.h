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

/// The value of such an object, as it can be typed. Throws `CommandError` for the word of any other.
std::string readValue(std::string const& word);

/// What can be done with any object of the model, through the access layer.
class ModelCommands {
public:
    ModelCommands() = default;
    ModelCommands(ModelCommands const&) = delete;
    ModelCommands& operator=(ModelCommands const&) = delete;
    ~ModelCommands();

    /// They refer to this object.
    Commands commands();

private:
    void read(Words const& arguments);
    void write(Words const& arguments);
    void watch(Words const& arguments);
    void unwatch(Words const& arguments);
    void invoke(Words const& arguments);

    std::map<std::string, std::unique_ptr<orvane::system::support::ValueAccessBase>> watched_;
    /// Those that were invoked: their answers may still come. Connected.
    std::map<std::string, std::unique_ptr<orvane::system::support::ActionAccess>> actions_;
};

}  // namespace nrx_console
