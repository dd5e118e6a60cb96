#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"

#include <unistd.h>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/status.h"

namespace orvane::system::support {

ConnectOutcome connectWithin(int timeoutMs, objbus::RootInterface* root, std::string const& key,
                             objbus::Observer* observer) {
    constexpr int STEP_MS = 100;
    if (root == nullptr) {
        return {nullptr, STATUS_ERR_CONNECT_FAILED};
    }
    int remainingMs = timeoutMs;
    while (true) {
        objbus::Object* found = nullptr;  // Anew: what a failed attempt handed out is not taken.
        int const status = root->connectObject(key, observer, found);
        if (status == STATUS_OK && found != nullptr) {
            return {found, status};
        }
        if (remainingMs > 0) {
            usleep(STEP_MS * 1000);
            remainingMs -= STEP_MS;
        }
        if (remainingMs < 1) {
            return {nullptr, status};
        }
    }
}

void disconnectFrom(objbus::RootInterface* root, std::string const& key, objbus::Observer* observer,
                    objbus::Object* object) {
    if (root != nullptr) {
        root->disconnectObject(key, observer, object);
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
