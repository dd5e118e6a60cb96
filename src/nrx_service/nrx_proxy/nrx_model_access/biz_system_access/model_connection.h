#pragma once

#include <string>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/root_interface.h"

// What the connects of all access kinds share. Private to the access layer.

/// The messages of a failed connect; each `connect` writes them itself, so that a line names its place.
#define CONNECT_FAILED_MESSAGE "Failed %d"
#define OBSERVER_MISMATCH_MESSAGE "Observer Type not match for %s,( %d ) vs %s "

namespace orvane::system::support {

/// A connect on its way: the model object and the registration that came with it, which ends here, whatever throws,
/// unless the access object keeps it.
class ModelConnection {
public:
    /// Asks `root` for the object named `key`, every 100 milliseconds until `timeoutMs` is spent. Without a root
    /// interface: status 5 at once.
    ModelConnection(int timeoutMs, objbus::RootInterface* root, std::string const& key, objbus::Observer* observer);
    ModelConnection(ModelConnection const&) = delete;
    ModelConnection& operator=(ModelConnection const&) = delete;
    ~ModelConnection();

    /// Null when it was not obtained.
    [[nodiscard]] objbus::Object* object() const { return object_; }
    /// Of the last attempt.
    [[nodiscard]] int status() const { return status_; }

    /// Leaves the registration to the caller.
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

/// Ends the registration of `observer`; does nothing without a root interface.
void disconnectFrom(objbus::RootInterface* root, std::string const& key, objbus::Observer* observer,
                    objbus::Object* object);

/// Disconnects an access object that is about to go. What the platform throws here must not end the host: it ends here,
/// and the registration may then remain.
void disconnectForDestruction(ValueAccessBase& access) noexcept;

/// The type that `object` reports; `OBJECT_TYPE_NONE` for null, which a connect of an `IteratorAccess` leaves behind.
objbus::ObjectTypeSpec typeOf(objbus::Object* object);

}  // namespace orvane::system::support
