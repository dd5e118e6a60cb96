#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"

#include <utility>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/list_value.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"

namespace orvane::system::support {

namespace {

constexpr int STATUS_NOT_CONNECTED = -1;

/// Returns the results' texts, each at the index of its result. Positions without a result have empty texts.
ValueObject textsByIndex(std::vector<objbus::Argument> const& results) {
    ValueObject texts = listValue(std::vector<std::string>(results.size()));
    for (objbus::Argument const& result : results) {
        // NOLINTNEXTLINE(bugprone-signed-char-misuse): a negative index becomes a position behind the end.
        auto const position = static_cast<std::size_t>(result.index);
        if (position < texts.elements.size()) {
            texts.elements[position] = result.value;
        }
    }
    return texts;
}

}  // namespace

ActionAccess::ActionAccess(std::string key) : ValueAccessBase(key) {}

ActionAccess::ActionAccess(std::string key, std::shared_ptr<ActionHandler> newHandler)
    : ValueAccessBase(key), actionHandler(std::move(newHandler)) {}

ActionAccess::~ActionAccess() = default;

int ActionAccess::connect(int timeoutMs) {
    connectTimeoutMs = timeoutMs;
    if (object != nullptr) {
        return STATUS_OK;
    }
    ModelConnection found(timeoutMs, getRootInterface(), name, this);
    if (found.object() == nullptr) {
        DEBUG_LOG(LOG_ERROR, CONNECT_FAILED_MESSAGE, found.status());
        return STATUS_ERR_CONNECT_FAILED;
    }
    if (auto const type = typeOf(found.object()); type != objbus::OBJECT_TYPE_ACTION) {
        DEBUG_LOG(LOG_ERROR, OBSERVER_MISMATCH_MESSAGE, name.c_str(), static_cast<int>(type), "ObserverAction");
        found.end(getName());
        return STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    object = found.keep();
    return STATUS_OK;
}

int ActionAccess::disconnect() {
    disconnectFrom(getRootInterface(), name, this, object);
    object = nullptr;
    return STATUS_OK;
}

int ActionAccess::setActionResultHandler(std::shared_ptr<ActionHandler> newHandler) {
    actionHandler = std::move(newHandler);
    return STATUS_OK;
}

int ActionAccess::invoke(unsigned int& actionId, std::vector<objbus::Argument> const& arguments) {
    if (object == nullptr) {
        DEBUG_LOG(LOG_ERROR, "No Access yet.");
        return STATUS_NOT_CONNECTED;
    }
    return static_cast<objbus::ObjectAction*>(object)->invoke(actionId, arguments);
}

void ActionAccess::notifyExecutionError(unsigned int actionId, int error) {
    DEBUG_TRACE();
    DEBUG_LOG(LOG_CRITICAL, "Action Failed : %s,  %d,  %d ", name.c_str(), static_cast<int>(actionId), error);
    if (auto const receiver = actionHandler) {
        receiver->handleExecutionError(actionId, error);
    }
}

void ActionAccess::notifyResult(unsigned int actionId, std::vector<objbus::Argument> const& results) {
    DEBUG_TRACE();
    DEBUG_LOG(LOG_INFO, "Action Result: %s,  %d,  %d ", name.c_str(), static_cast<int>(actionId),
              static_cast<int>(results.size()));
    if (auto const receiver = actionHandler) {
        receiver->handleResult(actionId, textsByIndex(results));
    }
}

}  // namespace orvane::system::support
