#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access_base.h"
#include "objbus/observer.h"
#include "objbus/table.h"

namespace orvane::system::support {

class TableAccess;

/// Receives a table iterator's notifications, on the model's delivery thread. Shared between its creator and the access
/// objects that call it. Rows are valid during the call only.
class NRX_EXPORT IteratorHandler {
public:
    /// A commit ended. The television defines `status`.
    virtual void handleCommit(int status) = 0;
    /// A request for the total number of rows ended. `count` is this number.
    virtual void handleTotalCount(int count) = 0;
    /// A seek by position ended. The television defines how rows are counted.
    virtual void handleSeekToRow(int row) = 0;
    /// A seek by content ended. The television defines how rows are counted.
    virtual void handleSeekToContent(int row) = 0;
    /// The cursor moved to another row.
    virtual void handleCursorPosition(int row) = 0;
    /// A read of one row ended. `row` has the texts of the row.
    virtual void handleReadRow(std::vector<std::string> const& row) = 0;
    /// A read of several rows ended. `rows` has the texts of each row.
    virtual void handleReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) = 0;
    /// `status` says whether the iterator is usable. The television defines `status`.
    virtual void handleIteratorReady(int status) = 0;
    /// The rows changed. The television defines `update`.
    virtual void handleUpdate(int update) = 0;
    virtual ~IteratorHandler() = default;
};

/// One iterator over a table of the television's data model.
///
/// `create()` connects to the table and creates the iterator. `getIterator()` returns the iterator, whose operations
/// the television defines. Each notification is passed to the handler at once, in every state of this object. The
/// handler stays alive during the call.
///
/// The owner calls `destroy()` before destroying this object. Otherwise the model keeps an iterator that notifies a
/// destroyed object. A handler may call `getIterator()` only after `create()` has returned.
///
///     IteratorAccess channels("channels", handler, type, selections, {0, 2}, orders);  // Columns 0 and 2.
///     if (channels.create() == STATUS_OK && channels.getIterator() != nullptr) {
///         ...                                                                          // The television's operations.
///     }
///     channels.destroy();
class NRX_EXPORT IteratorAccess : public ValueAccessBase, public objbus::ObserverTableIterator {
public:
    /// `key` names the table. `create()` passes the arguments that follow `newHandler` to the table unchanged.
    IteratorAccess(std::string key, std::shared_ptr<IteratorHandler> newHandler, objbus::IteratorType const& type,
                   std::vector<objbus::TableSelection> const& tableSelections, std::vector<int> const& tableColumns,
                   std::vector<objbus::TableOrder> const& tableOrders);
    IteratorAccess(IteratorAccess const&) = delete;  ///< The model holds a pointer to this observer.
    IteratorAccess& operator=(IteratorAccess const&) = delete;
    /// Disconnects from the table. Does not destroy the iterator. Catches exceptions of the platform, after which
    /// the registration with the table may remain.
    ~IteratorAccess() override;

    /// @name Only create() connects
    /// @{

    /// Does nothing and returns 0.
    int connect(int timeoutMs) override;
    int disconnect() override;
    /// @}

    /// Connects to the table within 1000 milliseconds and creates the iterator. Returns 0 on success, also if the
    /// television refuses the iterator (`getIterator()` is null then). Returns 4 and changes nothing if there is no
    /// such table, or if the object reports the type of another kind. An object without a known type
    /// (`OBJECT_TYPE_NONE`, or a number that names no type) is treated as a table. After the connect the operation
    /// destroys an earlier iterator, creates the new iterator and then releases the earlier table. If the television
    /// throws when it creates the new iterator, there is no iterator.
    virtual int create();
    /// Destroys the iterator, if there is one. The table stays connected. Returns 0. If the television throws, the
    /// iterator still exists.
    virtual int destroy();

    /// Returns the iterator, or null. The model owns the iterator, which is valid until `destroy()`.
    objbus::TableIterator* getIterator() const;

    /// Replaces the handler. An empty `newHandler` removes the handler. Must not be called while notifications can
    /// arrive. Returns 0.
    virtual int setActionResultHandler(std::shared_ptr<IteratorHandler> newHandler);

    /// @name Notifications
    /// @{

    /// Called by the model on its delivery thread. Each operation passes its argument to the corresponding operation of
    /// the handler: `notifyCommit` calls `handleCommit`, and so on. Rows are not copied.
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
    /// Deletes the table. If the table is connected, first disconnects the table.
    struct TableRelease {
        void operator()(TableAccess* table) const;  ///< Never throws.
    };

    std::shared_ptr<IteratorHandler> iteratorHandler;  ///< May be empty.

    /// @name The arguments that create() passes to the table
    /// @{

    /// The constructor's arguments.
    objbus::IteratorType const iteratorType;
    std::vector<objbus::TableSelection> const selections;
    std::vector<int> const columns;
    std::vector<objbus::TableOrder> const orders;
    /// @}

    objbus::TableIterator* iterator = nullptr;  ///< The model owns the iterator.
    /// Connected if not null. Not null while `iterator` is not null.
    std::unique_ptr<TableAccess, TableRelease> tableAccess;
};

}  // namespace orvane::system::support
