#pragma once

#include <map>
#include <memory>
#include <string>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/object_type.h"
#include "tools/nrx_console/command.h"

namespace nrx_console {

/// Throws `CommandError` if the status is not 0. Such a status means that the television does not answer.
void throwIfTelevisionFailed(int status);

/// Throws `CommandError` if the television does not answer.
void throwIfTelevisionUnreachable();

/// Whether objects of the type have a value that can be read.
bool hasValue(objbus::ObjectTypeSpec type);

/// The value of an object, as a user types it. Throws `CommandError` for an object without a value.
std::string readValueAsText(std::string const& word);

class InvokedAction;

/// The commands that use any object of the model through the access layer.
class ClientObjectCommands {
public:
    ClientObjectCommands();
    ClientObjectCommands(ClientObjectCommands const&) = delete;
    ClientObjectCommands& operator=(ClientObjectCommands const&) = delete;
    ~ClientObjectCommands();

    /// The commands refer to this object.
    Commands commands();

private:
    void watch(Words const& arguments);
    void unwatch(Words const& arguments);
    void invoke(Words const& arguments);

    std::map<std::string, std::unique_ptr<orvane::system::support::ValueAccessBase>> watched_;
    std::map<std::string, std::unique_ptr<InvokedAction>> actions_;
};

}  // namespace nrx_console
