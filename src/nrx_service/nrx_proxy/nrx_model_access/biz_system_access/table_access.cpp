#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"

#include <utility>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"

namespace orvane::system::support {

TableAccess::TableAccess(std::string key) : ValueAccessBase(key) {}

TableAccess::TableAccess(std::string key, std::shared_ptr<TableHandler> newHandler)
    : ValueAccessBase(key), tableHandler(std::move(newHandler)) {}

TableAccess::~TableAccess() = default;

int TableAccess::connect(int timeoutMs) {
    connectTimeoutMs = timeoutMs;
    if (object != nullptr) {
        return STATUS_OK;
    }
    ModelConnection found(timeoutMs, getRootInterface(), name, this);
    if (found.object() == nullptr) {
        DEBUG_LOG(LOG_ERROR, CONNECT_FAILED_MESSAGE, found.status());
        return STATUS_ERR_CONNECT_FAILED;
    }
    // The object may have any type, and a static_cast is undefined for an object that is no table. A table has the same
    // address as its only base.
    object = found.keep();
    table = reinterpret_cast<objbus::ObjectTable*>(object);
    return STATUS_OK;
}

int TableAccess::disconnect() {
    disconnectFrom(getRootInterface(), name, this, object);
    object = nullptr;
    table = nullptr;
    return STATUS_OK;
}

objbus::ObjectTable* TableAccess::getAccess() { return table; }

int TableAccess::setActionResultHandler(std::shared_ptr<TableHandler> newHandler) {
    tableHandler = std::move(newHandler);
    return STATUS_OK;
}

void TableAccess::notifyUpdate(int /*update*/) { DEBUG_TRACE(); }

}  // namespace orvane::system::support
