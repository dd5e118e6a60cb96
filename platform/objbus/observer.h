#pragma once

#include <string>
#include <vector>

#include "objbus/argument.h"

namespace objbus {

/// Receives a model object's notifications. The model calls the typed interface that matches the object's type, on a
/// thread of the model, from `RootInterface::connectObject` until `RootInterface::disconnectObject` has returned. The
/// client owns the observer. The arguments of a notification are valid during the call only.
///
/// The order of the virtual operations is a binary contract, here and in every class below.
class __attribute__((visibility("default"))) Observer {
public:
    Observer() = default;
    Observer(Observer const&) = delete;
    Observer& operator=(Observer const&) = delete;
    virtual ~Observer();
    /// For the television's own use. Does nothing by default.
    virtual void platformReserved() {}
};

/// Receives the new values of an `OBJECT_TYPE_NUMERIC_INTEGER`.
class __attribute__((visibility("default"))) ObserverNumericInteger : public Observer {
public:
    ~ObserverNumericInteger() override;
    /// `value` is the current value.
    virtual void notifyNewValue(int value) = 0;
};

/// Receives the new values of an `OBJECT_TYPE_NUMERIC_INT64`.
class __attribute__((visibility("default"))) ObserverNumericInt64 : public Observer {
public:
    ~ObserverNumericInt64() override;
    /// `value` is the current value.
    virtual void notifyNewValue(long long value) = 0;
};

/// Receives the new values of an `OBJECT_TYPE_STRING`.
class __attribute__((visibility("default"))) ObserverString : public Observer {
public:
    ~ObserverString() override;
    /// `value` is the current value.
    virtual void notifyNewValue(std::string const& value) = 0;
};

/// Receives the new lists of an `OBJECT_TYPE_VECTOR_NUMERIC_INTEGER`. Each notification has the whole list.
class __attribute__((visibility("default"))) ObserverVectorNumericInteger : public Observer {
public:
    ~ObserverVectorNumericInteger() override;
    /// `values` is the current list, which may be empty.
    virtual void notifyIntegerVector(std::vector<int> const& values) = 0;
};

/// Receives the new lists of an `OBJECT_TYPE_VECTOR_STRING`. Each notification has the whole list.
class __attribute__((visibility("default"))) ObserverVectorString : public Observer {
public:
    ~ObserverVectorString() override;
    /// `values` is the current list, which may be empty.
    virtual void notifyStringVector(std::vector<std::string> const& values) = 0;
};

/// Receives the answers of an `OBJECT_TYPE_ACTION`, each with the identifier that `ObjectAction::invoke` wrote.
class __attribute__((visibility("default"))) ObserverAction : public Observer {
public:
    ~ObserverAction() override;
    /// The action succeeded. A result's `index` is its position in the action's result list. The order of `results` has
    /// no meaning.
    virtual void notifyResult(unsigned int actionId, std::vector<Argument> const& results) = 0;
    /// The action failed after its start. The television defines `error`.
    virtual void notifyExecutionError(unsigned int actionId, int error) = 0;
};

/// Receives the changes of an `OBJECT_TYPE_TABLE`.
class __attribute__((visibility("default"))) ObserverTable : public Observer {
public:
    ~ObserverTable() override;
    /// The table's content changed. The television defines `update`.
    virtual void notifyUpdate(int update) = 0;
};

/// Receives the notifications of the iterator that `ObjectTable::createIterator` made for this observer. Most
/// notifications report that a requested operation was done, or failed. The rows of a notification are valid during the
/// call only.
class __attribute__((visibility("default"))) ObserverTableIterator : public Observer {
public:
    ~ObserverTableIterator() override;
    /// A commit ended. The television defines `status`.
    virtual void notifyCommit(int status) = 0;
    /// `count` is the number of rows.
    virtual void notifyTotalCount(int count) = 0;

    /// @name Seeks and the cursor
    /// @{

    /// `row` is the result of a seek or the cursor's position. The television defines how rows are counted.
    virtual void notifySeekToRow(int row) = 0;
    virtual void notifySeekToContent(int row) = 0;
    virtual void notifyCursorPosition(int row) = 0;
    /// @}

    /// `row` has the texts of one row, by column.
    virtual void notifyReadRow(std::vector<std::string> const& row) = 0;
    /// `rows` has the texts of several rows, each by column.
    virtual void notifyReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) = 0;
    /// `status` says whether the iterator is usable. The television defines `status`.
    virtual void notifyIteratorReady(int status) = 0;
    /// The rows changed. The television defines `update`.
    virtual void notifyUpdate(int update) = 0;
};

}  // namespace objbus
