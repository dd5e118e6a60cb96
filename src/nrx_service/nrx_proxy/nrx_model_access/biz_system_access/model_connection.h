#pragma once

#include <string>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/root_interface.h"

// The parts of connecting and disconnecting that the access objects of all kinds share. Private to the library.

/// The log messages of a failed connect. The `connect` operations log the messages themselves, because a log line names
/// the function that logs.
#define CONNECT_FAILED_MESSAGE "Failed %d"
#define OBSERVER_MISMATCH_MESSAGE "Observer Type not match for %s,( %d ) vs %s "

namespace orvane::system::support {

/// A connect in progress: the model object and the observer's registration with the object. The destructor ends the
/// registration unless `end` has succeeded or `keep` was called.
class ModelConnection {
public:
    /// Connects to the object named `key`, with an attempt every 100 milliseconds until `timeoutMs` is spent. Without a
    /// root interface the status is 5 at once.
    ModelConnection(int timeoutMs, objbus::RootInterface* root, std::string const& key, objbus::Observer* observer);
    ModelConnection(ModelConnection const&) = delete;
    ModelConnection& operator=(ModelConnection const&) = delete;
    ~ModelConnection();

    /// The model object, or null if the connect failed.
    [[nodiscard]] objbus::Object* object() const { return object_; }
    /// The last attempt's status.
    [[nodiscard]] int status() const { return status_; }

    /// Returns the model object. From then on the caller must end the registration.
    objbus::Object* keep();
    /// Ends the registration made under `key`.
    void end(std::string const& key);

private:
    objbus::RootInterface* const root_;
    std::string const& key_;
    objbus::Observer* const observer_;
    objbus::Object* object_ = nullptr;
    int status_ = STATUS_ERR_CONNECT_FAILED;
};

/// Ends the registration of `observer`. Does nothing without a root interface.
void disconnectFrom(objbus::RootInterface* root, std::string const& key, objbus::Observer* observer,
                    objbus::Object* object);

/// Disconnects an access object before its destruction. Catches exceptions of the platform, which would end the
/// process. After an exception the registration may remain.
void disconnectForDestruction(ValueAccessBase& access) noexcept;

/// Returns the type that `object` reports, or `OBJECT_TYPE_NONE` for null. The field `object` of an access object is
/// null if the access object is not connected, and always null in an `IteratorAccess`.
objbus::ObjectTypeSpec typeOf(objbus::Object* object);

}  // namespace orvane::system::support
