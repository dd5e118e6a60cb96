#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"

#include <string_view>
#include <type_traits>
#include <utility>

#include "nrx_service/nrx_proxy/diagnostics/debug_log.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/model_connection.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"

namespace orvane::system::support {

namespace {

constexpr int TABLE_CONNECT_BUDGET_MS = 1000;
constexpr int STATUS_NO_TABLE = 4;

/// Calls `operation` of the handler, and keeps the handler alive during the call.
template <typename Argument>
void passOn(std::shared_ptr<IteratorHandler> const& handler, void (IteratorHandler::*operation)(Argument),
            std::type_identity_t<Argument> argument) {
    if (auto const receiver = handler) {  // NOLINT(performance-unnecessary-copy-initialization): keeps it alive.
        (receiver.get()->*operation)(argument);
    }
}

/// Returns whether the object reports a known type other than the table's type. An object that reports no type
/// (`OBJECT_TYPE_NONE`) or an unknown number may be a table.
bool isOfAnotherKind(TableAccess& object) {
    auto const type = object.getType();
    std::string_view const none = object.accessTypeName(objbus::OBJECT_TYPE_NONE);
    return type != objbus::OBJECT_TYPE_TABLE && object.accessTypeName(type) != none;
}

}  // namespace

IteratorAccess::IteratorAccess(std::string key, std::shared_ptr<IteratorHandler> newHandler,
                               objbus::IteratorType const& type,
                               std::vector<objbus::TableSelection> const& tableSelections,
                               std::vector<int> const& tableColumns, std::vector<objbus::TableOrder> const& tableOrders)
    : ValueAccessBase(key),
      iteratorHandler(std::move(newHandler)),
      iteratorType(type),
      selections(tableSelections),
      columns(tableColumns),
      orders(tableOrders) {}

IteratorAccess::~IteratorAccess() {
    DEBUG_TRACE();
    tableAccess.reset();  // The table must write its log lines before this destructor's last trace line.
}

void IteratorAccess::TableRelease::operator()(TableAccess* table) const {
    if (table->getAccess() != nullptr) {
        disconnectForDestruction(*table);
    }
    delete table;
}

int IteratorAccess::connect(int /*timeoutMs*/) { return STATUS_OK; }

int IteratorAccess::disconnect() { return STATUS_OK; }

int IteratorAccess::create() {
    std::string const key = getName();
    std::unique_ptr<TableAccess, TableRelease> newTable(new TableAccess(key));
    int status = newTable->connect(TABLE_CONNECT_BUDGET_MS);
    if (status == STATUS_OK && isOfAnotherKind(*newTable)) {
        status = STATUS_ERR_VALUE_TYPE_MISMATCH;
    }
    if (status != STATUS_OK) {
        DEBUG_LOG(LOG_ERROR, "Error connect name : %s,  status: %d", key.c_str(), status);
        return STATUS_NO_TABLE;
    }
    destroy();
    iterator = newTable->getAccess()->createIterator(iteratorType, this, selections, columns, orders);
    tableAccess = std::move(newTable);
    return STATUS_OK;
}

int IteratorAccess::destroy() {
    if (iterator != nullptr) {
        tableAccess->getAccess()->destroyIterator(iterator);
        iterator = nullptr;
    }
    return STATUS_OK;
}

objbus::TableIterator* IteratorAccess::getIterator() const { return iterator; }

int IteratorAccess::setActionResultHandler(std::shared_ptr<IteratorHandler> newHandler) {
    iteratorHandler = std::move(newHandler);
    return STATUS_OK;
}

void IteratorAccess::notifyCommit(int status) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleCommit, status);
}

void IteratorAccess::notifyTotalCount(int count) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleTotalCount, count);
}

void IteratorAccess::notifySeekToRow(int row) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleSeekToRow, row);
}

void IteratorAccess::notifySeekToContent(int row) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleSeekToContent, row);
}

void IteratorAccess::notifyCursorPosition(int row) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleCursorPosition, row);
}

void IteratorAccess::notifyReadRow(std::vector<std::string> const& row) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleReadRow, row);
}

void IteratorAccess::notifyReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleReadRowChunk, rows);
}

void IteratorAccess::notifyIteratorReady(int status) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleIteratorReady, status);
}

void IteratorAccess::notifyUpdate(int update) {
    DEBUG_TRACE();
    passOn(iteratorHandler, &IteratorHandler::handleUpdate, update);
}

}  // namespace orvane::system::support
