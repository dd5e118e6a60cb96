#pragma once

#include <string>
#include <vector>

#include "objbus/argument.h"

namespace objbus {

/// Receiver of a model object's notifications. The model calls the typed interface that matches the object's type, on
/// a thread of its own, from `RootInterface::connectObject` until `RootInterface::disconnectObject` has returned. The
/// client owns it; what is handed over ends with the call.
///
/// The order of the virtual operations is a binary contract, here and in every class below.
class __attribute__((visibility("default"))) Observer {
public:
    Observer() = default;
    Observer(Observer const&) = delete;
    Observer& operator=(Observer const&) = delete;
    virtual ~Observer();
    /// The television's own; does nothing by default.
    virtual void platformReserved() {}
};

/// Hears the new values of an `OBJECT_TYPE_NUMERIC_INTEGER`.
class __attribute__((visibility("default"))) ObserverNumericInteger : public Observer {
public:
    ~ObserverNumericInteger() override;
    /// The value now.
    virtual void notifyNewValue(int value) = 0;
};

/// Hears the new values of an `OBJECT_TYPE_NUMERIC_INT64`.
class __attribute__((visibility("default"))) ObserverNumericInt64 : public Observer {
public:
    ~ObserverNumericInt64() override;
    /// The value now.
    virtual void notifyNewValue(long long value) = 0;
};

/// Hears the new values of an `OBJECT_TYPE_STRING`.
class __attribute__((visibility("default"))) ObserverString : public Observer {
public:
    ~ObserverString() override;
    /// The value now.
    virtual void notifyNewValue(std::string const& value) = 0;
};

/// Hears the new lists of an `OBJECT_TYPE_VECTOR_NUMERIC_INTEGER`, each whole.
class __attribute__((visibility("default"))) ObserverVectorNumericInteger : public Observer {
public:
    ~ObserverVectorNumericInteger() override;
    /// The list now, which may be empty.
    virtual void notifyIntegerVector(std::vector<int> const& values) = 0;
};

/// Hears the new lists of an `OBJECT_TYPE_VECTOR_STRING`, each whole.
class __attribute__((visibility("default"))) ObserverVectorString : public Observer {
public:
    ~ObserverVectorString() override;
    /// The list now, which may be empty.
    virtual void notifyStringVector(std::vector<std::string> const& values) = 0;
};

/// Hears the answers of an `OBJECT_TYPE_ACTION`, each under the identifier that `ObjectAction::invoke` wrote.
class __attribute__((visibility("default"))) ObserverAction : public Observer {
public:
    ~ObserverAction() override;
    /// The action was done. The results are ordered by their index, not by their place.
    virtual void notifyResult(unsigned int actionId, std::vector<Argument> const& results) = 0;
    /// It failed after it had been started; `error` is the television's.
    virtual void notifyExecutionError(unsigned int actionId, int error) = 0;
};

/// Hears that the content of an `OBJECT_TYPE_TABLE` changed.
class __attribute__((visibility("default"))) ObserverTable : public Observer {
public:
    ~ObserverTable() override;
    /// What `update` tells of the change is the television's to say.
    virtual void notifyUpdate(int update) = 0;
};

/// Hears of the iterator that it was given to `ObjectTable::createIterator` for: what the iterator was asked for has
/// been done, or has failed. The rows end with the call.
class __attribute__((visibility("default"))) ObserverTableIterator : public Observer {
public:
    ~ObserverTableIterator() override;
    /// A commit ended, with a status of the television's.
    virtual void notifyCommit(int status) = 0;
    /// The number of rows.
    virtual void notifyTotalCount(int count) = 0;

    /// @name Seeks and the cursor
    /// @{

    /// Where a seek ended, or the cursor stands now; how rows are counted is the television's to say.
    virtual void notifySeekToRow(int row) = 0;
    virtual void notifySeekToContent(int row) = 0;
    virtual void notifyCursorPosition(int row) = 0;
    /// @}

    /// The texts of one row, by column.
    virtual void notifyReadRow(std::vector<std::string> const& row) = 0;
    /// The same of several rows.
    virtual void notifyReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) = 0;
    /// The iterator can be used, or cannot, as the television's status says.
    virtual void notifyIteratorReady(int status) = 0;
    /// The rows changed; what `update` tells of it is the television's to say.
    virtual void notifyUpdate(int update) = 0;
};

}  // namespace objbus
