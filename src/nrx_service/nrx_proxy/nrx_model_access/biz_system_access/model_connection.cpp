#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"

#include <unistd.h>

#include <utility>

namespace orvane::system::support {

ModelConnection::ModelConnection(int timeoutMs, objbus::RootInterface* root, std::string const& key,
                                 objbus::Observer* observer)
    : root_(root), key_(key), observer_(observer) {
    constexpr int STEP_MS = 100;
    if (root == nullptr) {
        return;
    }
    int remainingMs = timeoutMs;
    while (true) {
        // Each attempt begins with null, because a failed attempt may set the object, and a later attempt may return 0
        // without an object.
        objbus::Object* found = nullptr;
        status_ = root->connectObject(key, observer, found);
        if (status_ == STATUS_OK && found != nullptr) {
            object_ = found;
            return;
        }
        if (remainingMs > 0) {
            usleep(STEP_MS * 1000);
            remainingMs -= STEP_MS;
        }
        if (remainingMs < 1) {
            return;
        }
    }
}

ModelConnection::~ModelConnection() {
    try {
        if (object_ != nullptr) {
            end(key_);
        }
    } catch (...) {  // The model may throw, and an earlier exception may be unwinding.
    }
}

objbus::Object* ModelConnection::keep() { return std::exchange(object_, nullptr); }

void ModelConnection::end(std::string const& key) {
    root_->disconnectObject(key, observer_, object_);
    object_ = nullptr;  // If the model throws, `object_` stays set and the destructor tries again.
}

void disconnectFrom(objbus::RootInterface* root, std::string const& key, objbus::Observer* observer,
                    objbus::Object* object) {
    if (root != nullptr) {
        root->disconnectObject(key, observer, object);
    }
}

void disconnectForDestruction(ValueAccessBase& access) noexcept {
    try {
        access.disconnect();
    } catch (...) {
    }
}

objbus::ObjectTypeSpec typeOf(objbus::Object* object) {
    objbus::ObjectTypeSpec type = objbus::OBJECT_TYPE_NONE;
    if (object != nullptr) {
        object->getType(type);
    }
    return type;
}

}  // namespace orvane::system::support
