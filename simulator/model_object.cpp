#include "simulator/model_object.h"

#include <algorithm>

namespace simulator {

ActionObject::ActionObject(Model& model, KeyEntry& entry, objbus::ObjectTypeSpec type, ActionScript script)
    : ObservedObject(model, entry, type), script_(std::move(script)) {}

int ActionObject::runScript(unsigned int& actionId, std::vector<objbus::Argument> const& arguments) {
    auto const kept = model().shared_from_this();
    {
        LockedModel const operation(*this, Call::invoke);
        if (isWithdrawn()) {
            return STATUS_WITHDRAWN;
        }
        if (int const fault = entry().invokeFault; fault != STATUS_OK) {
            return fault;
        }
    }
    ActionAnswer answer = script_ ? script_(arguments) : ActionAnswer{};
    actionId = answer.actionId.value_or(actionId);
    LockedModel const operation(*this);
    if (auto* const results = std::get_if<ActionAnswer::Results>(&answer.outcome)) {
        post([id = actionId, list = std::move(*results)](auto& observer) { observer.notifyResult(id, list); });
    } else if (auto const* const error = std::get_if<ActionAnswer::Error>(&answer.outcome)) {
        post([id = actionId, code = *error](auto& observer) { observer.notifyExecutionError(id, code); });
    }
    return answer.status;
}

Iterator::Iterator(TableObject& table, objbus::ObserverTableIterator* observer, std::vector<int> columns)
    : table_(table),
      registration_(std::make_shared<TypedRegistration<objbus::ObserverTableIterator>>(observer, observer, this)),
      columns_(std::move(columns)) {}

template <typename Notify>
void Iterator::post(Notify notify) const {
    if (!table_.isWithdrawn()) {
        postTo(registration_, table_.delivery(), std::move(notify));
    }
}

// The cast turns a negative number into a number far behind the end.
bool Iterator::hasRow(int row) const { return static_cast<std::size_t>(row) < table_.rows().size(); }

std::vector<std::string> Iterator::selectedCells(int row) const {
    auto const& whole = table_.rows()[static_cast<std::size_t>(row)];
    if (columns_.empty()) {
        return whole;
    }
    std::vector<std::string> selected;
    for (int const column : columns_) {
        bool const exists = static_cast<std::size_t>(column) < whole.size();
        selected.push_back(exists ? whole[static_cast<std::size_t>(column)] : std::string());
    }
    return selected;
}

void Iterator::requestTotalCount() {
    LockedModel const operation(table_);
    post([count = static_cast<int>(table_.rows().size())](auto& observer) { observer.notifyTotalCount(count); });
}

void Iterator::seekToRow(int row) {
    LockedModel const operation(table_);
    cursor_ = hasRow(row) ? row : -1;
    post([cursor = cursor_](auto& observer) { observer.notifySeekToRow(cursor); });
    post([cursor = cursor_](auto& observer) { observer.notifyCursorPosition(cursor); });
}

void Iterator::seekToContent(std::string const& content) {
    LockedModel const operation(table_);
    cursor_ = -1;
    for (int row = 0; cursor_ < 0 && hasRow(row); ++row) {
        auto const cells = selectedCells(row);
        if (std::find(cells.begin(), cells.end(), content) != cells.end()) {
            cursor_ = row;
        }
    }
    post([cursor = cursor_](auto& observer) { observer.notifySeekToContent(cursor); });
}

void Iterator::readRow() {
    LockedModel const operation(table_);
    post([row = hasRow(cursor_) ? selectedCells(cursor_) : std::vector<std::string>{}](auto& observer) {
        observer.notifyReadRow(row);
    });
}

void Iterator::readRowChunk(int count) {
    LockedModel const operation(table_);
    Rows chunk;
    for (int row = cursor_; count > 0 && hasRow(row); ++row, --count) {
        chunk.push_back(selectedCells(row));
    }
    post([rows = std::move(chunk)](auto& observer) { notifyChunk(observer, rows); });
}

void Iterator::commit() {
    LockedModel const operation(table_);
    post([](auto& observer) { observer.notifyCommit(STATUS_OK); });
}

TableObject::TableObject(Model& model, KeyEntry& entry, objbus::ObjectTypeSpec type, Rows rows)
    : ObservedObject(model, entry, type), rows_(std::move(rows)) {}

objbus::TableIterator* TableObject::createIterator(objbus::IteratorType const& type,
                                                   objbus::ObserverTableIterator* observer,
                                                   std::vector<objbus::TableSelection> const& selections,
                                                   std::vector<int> const& columns,
                                                   std::vector<objbus::TableOrder> const& orders) {
    auto const kept = model().shared_from_this();
    if (int const status = recordAndCheckRequest({type, selections, columns, orders}); status != STATUS_OK) {
        logIfFailed("createIterator", status);
        return nullptr;
    }
    LockedModel const operation(*this);
    auto const iterator = std::make_shared<Iterator>(*this, observer, columns);
    decltype(iterators_)::PreparedInsertion prepared(iterator);
    iterator->post([](auto& ready) { ready.notifyIteratorReady(STATUS_OK); });
    // The iterator is added after all steps that may run out of memory, so that a failed call adds no iterator.
    return iterators_.add(std::move(prepared));
}

int TableObject::recordAndCheckRequest(IteratorRequest request) {
    LockedModel const operation(*this, Call::createIterator);
    entry().lastIteratorRequest = std::move(request);
    return isWithdrawn() ? STATUS_WITHDRAWN : entry().refusesIterators ? STATUS_UNKNOWN_ITERATOR : STATUS_OK;
}

int TableObject::destroyIterator(objbus::TableIterator* iterator) {
    return logIfFailed("destroyIterator", destroyUnlessFaulty(iterator));
}

int TableObject::destroyUnlessFaulty(objbus::TableIterator* iterator) {
    auto const kept = model().shared_from_this();
    std::shared_ptr<Registration> registration;
    {
        LockedModel const operation(*this, Call::destroyIterator);
        ++entry().callCounts.destroyIteratorCalls;
        if (int const fault = entry().destroyIteratorFault; fault != STATUS_OK) {
            return fault;
        }
        auto const destroyed = iterators_.destroy(iterator);
        if (!destroyed) {
            return STATUS_UNKNOWN_ITERATOR;
        }
        registration = destroyed->registration();
        kept->delivery.cancel(*registration);
    }
    kept->delivery.waitWhileRunning(registration->observer, registration->notificationSource);
    return STATUS_OK;
}

void TableObject::setRows(Rows rows) {
    rows_ = std::move(rows);
    post([](auto& observer) { observer.notifyUpdate(0); });
    for (auto const& iterator : iterators_.live()) {
        iterator->post([](auto& observer) { observer.notifyUpdate(0); });
    }
}

}  // namespace simulator
