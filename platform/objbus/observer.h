#pragma once

#include <string>
#include <vector>

#include "objbus/argument.h"

namespace objbus {

/// Receiver of a model object's notifications. The model calls the typed interface that matches the object's type, on
/// a thread of its own, from `RootInterface::connectObject` until `RootInterface::disconnectObject` has returned.
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
    virtual void notifyNewValue(int value) = 0;
};

/// Hears the new values of an `OBJECT_TYPE_NUMERIC_INT64`.
class __attribute__((visibility("default"))) ObserverNumericInt64 : public Observer {
public:
    ~ObserverNumericInt64() override;
    virtual void notifyNewValue(long long value) = 0;
};

/// Hears the new values of an `OBJECT_TYPE_STRING`.
class __attribute__((visibility("default"))) ObserverString : public Observer {
public:
    ~ObserverString() override;
    virtual void notifyNewValue(std::string const& value) = 0;
};

/// Hears the new lists of an `OBJECT_TYPE_VECTOR_NUMERIC_INTEGER`, each whole.
class __attribute__((visibility("default"))) ObserverVectorNumericInteger : public Observer {
public:
    ~ObserverVectorNumericInteger() override;
    virtual void notifyIntegerVector(std::vector<int> const& values) = 0;
};

/// Hears the new lists of an `OBJECT_TYPE_VECTOR_STRING`, each whole.
class __attribute__((visibility("default"))) ObserverVectorString : public Observer {
public:
    ~ObserverVectorString() override;
    virtual void notifyStringVector(std::vector<std::string> const& values) = 0;
};

/// Hears the answers of an `OBJECT_TYPE_ACTION`, each under the identifier that `ObjectAction::invoke` wrote.
class __attribute__((visibility("default"))) ObserverAction : public Observer {
public:
    ~ObserverAction() override;
    virtual void notifyResult(unsigned int actionId, std::vector<Argument> const& results) = 0;
    virtual void notifyExecutionError(unsigned int actionId, int error) = 0;
};

/// Hears that the content of an `OBJECT_TYPE_TABLE` changed.
class __attribute__((visibility("default"))) ObserverTable : public Observer {
public:
    ~ObserverTable() override;
    virtual void notifyUpdate(int update) = 0;
};

/// Hears of the iterator that it was given to `ObjectTable::createIterator` for: what the iterator was asked for has
/// been done, or has failed. The rows end with the call.
class __attribute__((visibility("default"))) ObserverTableIterator : public Observer {
public:
    ~ObserverTableIterator() override;
    virtual void notifyCommit(int status) = 0;
    virtual void notifyTotalCount(int count) = 0;
    virtual void notifySeekToRow(int row) = 0;
    virtual void notifySeekToContent(int row) = 0;
    virtual void notifyCursorPosition(int row) = 0;
    virtual void notifyReadRow(std::vector<std::string> const& row) = 0;
    virtual void notifyReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) = 0;
    virtual void notifyIteratorReady(int status) = 0;
    virtual void notifyUpdate(int update) = 0;
};

}  // namespace objbus
