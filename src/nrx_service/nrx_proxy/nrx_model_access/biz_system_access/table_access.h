#pragma once

#include <memory>
#include <string>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/observer.h"

namespace orvane::system::support {

/// Kept alive by the table accesses that share it; nothing is reported to it.
class NRX_EXPORT TableHandler {
public:
    virtual ~TableHandler() = default;
};

/// One table of the television's data model, connected so that iterators can be made on it.
///
/// The owner calls `disconnect()` before destroying a connected access.
class NRX_EXPORT TableAccess : public ValueAccessBase, public objbus::ObserverTable {
public:
    /// @name Constructors
    /// @{

    /// Connects nothing; `key` names the table.
    explicit TableAccess(std::string key);
    TableAccess(std::string key, std::shared_ptr<TableHandler> newHandler);
    /// @}

    TableAccess(TableAccess const&) = delete;  ///< The model knows the object by its address.
    TableAccess& operator=(TableAccess const&) = delete;
    ~TableAccess() override;

    /// 0 connected or connected already, 5 not obtained within the budget (or no root interface). Takes whatever
    /// object the model has under the key; `getType()` tells whether it is a table.
    int connect(int timeoutMs) override;
    int disconnect() override;

    /// The connected table, null while unconnected. The model owns it; it is valid until `disconnect()`.
    objbus::ObjectTable* getAccess();

    /// Replaces or (empty) releases the handler. Returns 0.
    virtual int setActionResultHandler(std::shared_ptr<TableHandler> newHandler);

    /// The table changed, on the model's delivery thread; only traced.
    void notifyUpdate(int update) override;

protected:
    std::shared_ptr<TableHandler> tableHandler;  ///< May be empty.
    objbus::ObjectTable* table = nullptr;        ///< `object`, as the table it is taken for.
};

}  // namespace orvane::system::support
