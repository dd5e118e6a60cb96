#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bus/client/remote_object.h"
#include "television/iterators.h"
#include "television/table_iterator.h"

namespace bus {

/// An iterator that the television made for this process. Receives the signals of its path until it is destroyed.
class RemoteIterator final : public objbus::TableIterator {
public:
    RemoteIterator(SharedModelState& modelState, std::string path, objbus::ObserverTableIterator* observer);

    void requestTotalCount() override;
    void seekToRow(int row) override;
    void seekToContent(std::string const& content) override;
    void readRow() override;
    void readRowChunk(int count) override;
    void commit() override;

    /// Handles a signal from the iterator's path, on the connection's thread.
    void handleSignal(sd_bus_message* signal);
    // The next two functions are called with `modelState_.mutex` held. Clang's thread safety analysis does not check
    // the functions, because the analysis cannot see that the callers lock this mutex.

    /// Called when the television is gone. Closes the iterator and notifies the observer of the status 126. The next
    /// television may use the path of this iterator for another iterator.
    void closeAndNotifyLoss() NRX_NOT_ANALYSED;
    /// Closes the iterator in this process and destroys the iterator in the television.
    void closeAndDestroyRemotely(std::string const& tablePath) NRX_NOT_ANALYSED;

    [[nodiscard]] std::shared_ptr<television::Registration> observerRegistration() const { return registration_; }

private:
    using Observer = objbus::ObserverTableIterator;

    void callNoReply(char const* name, MessageBody arguments) const;
    template <typename Notify>
    void post(Notify notify) const;

    std::atomic<bool> isClosed_ = false;  ///< If true, the iterator sends no calls and receives no signals.
    SharedModelState& modelState_;
    std::string const path_;
    std::shared_ptr<television::TypedRegistration<Observer>> const registration_;
};

/// A table, and this process's iterators over the table.
class TableObject final : public ObservedRemoteObject<objbus::ObjectTable, objbus::ObserverTable> {
public:
    using ObservedObject::ObservedObject;

    objbus::TableIterator* createIterator(objbus::IteratorType const& type, objbus::ObserverTableIterator* observer,
                                          std::vector<objbus::TableSelection> const& selections,
                                          std::vector<int> const& columns,
                                          std::vector<objbus::TableOrder> const& orders) override;
    int destroyIterator(objbus::TableIterator* iterator) override;

    void handleSignal(sd_bus_message* signal) override;
    /// Clang's thread safety analysis does not check this function, because the analysis cannot see that the caller
    /// locks `modelState().mutex`.
    void abandonUnfinishedOperations() NRX_NOT_ANALYSED override;

private:
    television::Iterators<RemoteIterator, objbus::TableIterator> iterators_ NRX_GUARDED_BY(modelState().mutex);
};

}  // namespace bus
