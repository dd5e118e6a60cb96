#pragma once

#include <memory>
#include <string>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/observer.h"

namespace orvane::system::support {

/// A handler that table accesses share and keep alive. Receives no notifications.
class NRX_EXPORT TableHandler {
public:
    virtual ~TableHandler() = default;
};

/// One table of the television's data model. A connected table can create iterators.
///
/// The owner calls `disconnect()` before destroying a connected access.
class NRX_EXPORT TableAccess : public ValueAccessBase, public objbus::ObserverTable {
public:
    /// @name Constructors
    /// @{

    /// Does not connect. `key` names the table.
    explicit TableAccess(std::string key);
    TableAccess(std::string key, std::shared_ptr<TableHandler> newHandler);
    /// @}

    TableAccess(TableAccess const&) = delete;  ///< The model holds a pointer to this observer.
    TableAccess& operator=(TableAccess const&) = delete;
    ~TableAccess() override;

    /// Returns 0 if connected, and 5 if there is no root interface or no object within the budget. Accepts an object of
    /// any type under the key. After the connect `getType()` returns the object's type.
    int connect(int timeoutMs) override;
    int disconnect() override;

    /// Returns the connected table, or null. The model owns the table, which is valid until `disconnect()`.
    objbus::ObjectTable* getAccess();

    /// Replaces the handler. An empty `newHandler` removes the handler. Returns 0.
    virtual int setActionResultHandler(std::shared_ptr<TableHandler> newHandler);

    /// The table changed. Called on the model's delivery thread. Writes trace lines only.
    void notifyUpdate(int update) override;

protected:
    std::shared_ptr<TableHandler> tableHandler;  ///< May be empty.
    objbus::ObjectTable* table = nullptr;        ///< `object`, treated as a table.
};

}  // namespace orvane::system::support
