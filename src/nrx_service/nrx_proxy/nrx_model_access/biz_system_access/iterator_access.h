#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/observer.h"
#include "objbus/table.h"

namespace orvane::system::support {

class TableAccess;

/// Receiver of a table iterator's notifications, one operation for each; all on the model's delivery thread. Shared
/// between its creator and the access objects that call it. The rows end with the call.
class NRX_EXPORT IteratorHandler {
public:
    /// A commit ended, with a status of the television's.
    virtual void handleCommit(int status) = 0;
    /// The total number of rows, which had been asked for.
    virtual void handleTotalCount(int count) = 0;
    /// A seek by position ended; where, is the television's to say.
    virtual void handleSeekToRow(int row) = 0;
    /// A seek by content ended, likewise.
    virtual void handleSeekToContent(int row) = 0;
    /// The cursor stands on another row.
    virtual void handleCursorPosition(int row) = 0;
    /// The texts of one row.
    virtual void handleReadRow(std::vector<std::string> const& row) = 0;
    /// The texts of several rows.
    virtual void handleReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) = 0;
    /// The iterator can be used, or cannot, as the television's status says.
    virtual void handleIteratorReady(int status) = 0;
    /// The rows changed; what `update` tells of it is the television's to say.
    virtual void handleUpdate(int update) = 0;
    virtual ~IteratorHandler() = default;
};

/// One iterator over a table of the television's data model.
///
/// `create()` connects to the table and has the iterator made; the iterator's own operations, reached through
/// `getIterator()`, are the television's. Its notifications are passed on to the handler as they come, whatever the
/// state of this object; the handler stays alive for the call.
///
/// The owner calls `destroy()` before destroying this object, lest the model keep an iterator that reports to it. A
/// handler may use `getIterator()` once `create()` has returned.
///
///     IteratorAccess channels("channels", handler, type, selections, {0, 2}, orders);  // Columns 0 and 2.
///     if (channels.create() == STATUS_OK && channels.getIterator() != nullptr) {
///         ...                                                                          // The television's operations.
///     }
///     channels.destroy();
class NRX_EXPORT IteratorAccess : public ValueAccessBase, public objbus::ObserverTableIterator {
public:
    /// `key` names the table. The rest is handed to the table as it is.
    IteratorAccess(std::string key, std::shared_ptr<IteratorHandler> newHandler, objbus::IteratorType const& type,
                   std::vector<objbus::TableSelection> const& tableSelections, std::vector<int> const& tableColumns,
                   std::vector<objbus::TableOrder> const& tableOrders);
    IteratorAccess(IteratorAccess const&) = delete;  ///< The model knows the object by its address.
    IteratorAccess& operator=(IteratorAccess const&) = delete;
    /// Disconnects from the table; does not destroy the iterator. A failure of the platform's own ends here; the table
    /// may then keep its registration.
    ~IteratorAccess() override;

    /// @name Nothing connects but create()
    /// @{

    /// Does nothing and returns 0.
    int connect(int timeoutMs) override;
    int disconnect() override;
    /// @}

    /// Connects to the table within 1000 milliseconds and has the iterator made. 0 for success, though the television
    /// may have refused the iterator (`getIterator()` is null then); 4 when there is no such table, or an object that
    /// says it is of another kind, with everything left as it was. An object that does not tell its type
    /// (`OBJECT_TYPE_NONE`, or a number that names none) is taken for the table that was asked for. An earlier iterator
    /// is destroyed first when the new table is connected, and its table is let go afterwards; should the television
    /// throw instead of making the new one, there is none.
    virtual int create();
    /// Has the iterator destroyed, if there is one; the table stays connected. Returns 0; when the television throws,
    /// the iterator is still there.
    virtual int destroy();

    /// The iterator, or null. The model owns it; it is valid until `destroy()`.
    objbus::TableIterator* getIterator() const;

    /// Installs, replaces or (empty) removes the receiver; not while notifications can arrive. Returns 0.
    virtual int setActionResultHandler(std::shared_ptr<IteratorHandler> newHandler);

    /// @name Notifications
    /// @{

    /// The model's, on its delivery thread: each hands its argument, the very same, to the handler's operation of the
    /// same name.
    void notifyCommit(int status) override;
    void notifyTotalCount(int count) override;
    void notifySeekToRow(int row) override;
    void notifySeekToContent(int row) override;
    void notifyCursorPosition(int row) override;
    void notifyReadRow(std::vector<std::string> const& row) override;
    void notifyReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) override;
    void notifyIteratorReady(int status) override;
    void notifyUpdate(int update) override;
    /// @}

protected:
    /// Disconnects a table that is connected, and deletes it.
    struct TableRelease {
        void operator()(TableAccess* table) const;  ///< Throws nothing.
    };

    std::shared_ptr<IteratorHandler> iteratorHandler;  ///< May be empty.

    /// @name What create() asks the table for
    /// @{

    /// As given at construction.
    objbus::IteratorType const iteratorType;
    std::vector<objbus::TableSelection> const selections;
    std::vector<int> const columns;
    std::vector<objbus::TableOrder> const orders;
    /// @}

    objbus::TableIterator* iterator = nullptr;  ///< The model owns it.
    /// Connected when there, as it is while `iterator` is not null.
    std::unique_ptr<TableAccess, TableRelease> tableAccess;
};

}  // namespace orvane::system::support
