#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/observer.h"

namespace orvane::system::support {

/// Receiver of an action's answers. Shared between its creator and the access objects that call it.
class NRX_EXPORT ActionHandler {
public:
    /// Called on the model's delivery thread. `results` is a list value of texts, ordered by the results' position; it
    /// ends with the call.
    virtual void handleResult(unsigned int actionId, ValueObject const& results) = 0;
    /// Called there too, when the action failed after it had been started. `error` is the television's.
    virtual void handleExecutionError(unsigned int actionId, int error) = 0;
    virtual ~ActionHandler() = default;
};

/// One action of the television's data model.
///
/// `invoke` never connects by itself. Answers arrive on the model's delivery thread, are logged and passed on there,
/// before the notification returns; the handler stays alive for the call and may disconnect and destroy this object
/// from inside it.
///
/// The owner calls `disconnect()` before destroying a connected access.
///
///     ActionAccess action("power.switch", std::make_shared<MyActionHandler>());
///     unsigned int actionId = 0;
///     if (action.connect(1000) == STATUS_OK) {
///         action.invoke(actionId, {{0, 0, 0, "standby"}});  // Tag, position, flags and text of each argument.
///         ...                                               // The answer under `actionId` goes to the handler.
///         action.disconnect();
///     }
class NRX_EXPORT ActionAccess : public ValueAccessBase, public objbus::ObserverAction {
public:
    /// Without a handler: answers are only logged. Connects nothing.
    explicit ActionAccess(std::string key);
    /// The usual way to install a handler: no notification can arrive before it.
    ActionAccess(std::string key, std::shared_ptr<ActionHandler> newHandler);
    ActionAccess(ActionAccess const&) = delete;  ///< The model knows the object by its address.
    ActionAccess& operator=(ActionAccess const&) = delete;
    ~ActionAccess() override;

    /// 0 connected or connected already, 5 not obtained within the budget (or no root interface), 6 not an action.
    int connect(int timeoutMs) override;
    int disconnect() override;

    /// Installs, replaces or (empty) removes the receiver of answers; not while they can arrive. Returns 0.
    virtual int setActionResultHandler(std::shared_ptr<ActionHandler> newHandler);

    /// Starts the action. The model writes the identifier under which the answer will arrive, and its status is
    /// returned; -1 when not connected, with `actionId` left alone. May run on several threads at once.
    virtual int invoke(unsigned int& actionId, std::vector<objbus::Argument> const& arguments);

    /// The model's, on its delivery thread: logged, then passed on to the handler.
    void notifyExecutionError(unsigned int actionId, int error) override;
    /// Likewise. A result whose index lies outside the list of results is dropped.
    void notifyResult(unsigned int actionId, std::vector<objbus::Argument> const& results) override;

protected:
    std::shared_ptr<ActionHandler> actionHandler;  ///< May be empty.
};

}  // namespace orvane::system::support
