#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/observer.h"

namespace orvane::system::support {

/// Receives an action's answers. Shared between its creator and the access objects that call it.
class NRX_EXPORT ActionHandler {
public:
    /// Called on the model's delivery thread. `results` is a list value of texts. The text of the result with the index
    /// i is at the position i. A position without a result has an empty text, and a result whose index is outside the
    /// list is dropped. `results` is valid during the call only.
    virtual void handleResult(unsigned int actionId, ValueObject const& results) = 0;
    /// Called on the model's delivery thread if the action failed after its start. The television defines `error`.
    virtual void handleExecutionError(unsigned int actionId, int error) = 0;
    virtual ~ActionHandler() = default;
};

/// One action of the television's data model.
///
/// `invoke` never connects. Answers arrive on the model's delivery thread, which logs them and passes them to the
/// handler before the notification returns. The handler stays alive during the call, and may disconnect and destroy
/// this object inside the call.
///
/// The owner calls `disconnect()` before destroying a connected access.
///
///     ActionAccess action("power.switch", std::make_shared<MyActionHandler>());
///     unsigned int actionId = 0;
///     if (action.connect(1000) == STATUS_OK) {
///         action.invoke(actionId, {{0, 0, 0, "standby"}});  // Tag, position, flags and text of each argument.
///         ...                                               // The handler receives the answer with `actionId`.
///         action.disconnect();
///     }
class NRX_EXPORT ActionAccess : public ValueAccessBase, public objbus::ObserverAction {
public:
    /// Installs no handler, so answers are only logged. Does not connect.
    explicit ActionAccess(std::string key);
    /// Installs the handler before any notification can arrive. Does not connect.
    ActionAccess(std::string key, std::shared_ptr<ActionHandler> newHandler);
    ActionAccess(ActionAccess const&) = delete;  ///< The model holds a pointer to this observer.
    ActionAccess& operator=(ActionAccess const&) = delete;
    ~ActionAccess() override;

    /// Returns 0 if connected, and 6 if the object is no action. Returns 5 if there is no root interface, or if the
    /// object is not available within `timeoutMs` milliseconds.
    int connect(int timeoutMs) override;
    int disconnect() override;

    /// Replaces the handler. An empty `newHandler` removes the handler. Must not be called while answers can arrive.
    /// Returns 0.
    virtual int setActionResultHandler(std::shared_ptr<ActionHandler> newHandler);

    /// Starts the action. The model writes the identifier of the later answer to `actionId`. Returns the model's
    /// status. If not connected, returns -1 and leaves `actionId` unchanged. Several threads may call `invoke` at once.
    virtual int invoke(unsigned int& actionId, std::vector<objbus::Argument> const& arguments);

    /// Called by the model on its delivery thread. Logs the error and passes it to the handler.
    void notifyExecutionError(unsigned int actionId, int error) override;
    /// Like `notifyExecutionError`, for the results. Drops a result whose index is outside the list of results.
    void notifyResult(unsigned int actionId, std::vector<objbus::Argument> const& results) override;

protected:
    std::shared_ptr<ActionHandler> actionHandler;  ///< May be empty.
};

}  // namespace orvane::system::support
