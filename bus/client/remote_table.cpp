#include "bus/client/remote_table.h"

#include <utility>

#include "bus/client/failure.h"
#include "bus/protocol/contract.h"

namespace bus {

namespace {

using Observer = objbus::ObserverTableIterator;

/// A signal with one number, and the notification for the signal.
struct NumberSignal {
    char const* name;
    void (Observer::*notify)(int number);
};

constexpr NumberSignal NUMBER_SIGNALS[] = {
    {"Ready", &Observer::notifyIteratorReady},
    {"TotalCount", &Observer::notifyTotalCount},
    {"RowSought", &Observer::notifySeekToRow},
    {"ContentSought", &Observer::notifySeekToContent},
    {"CursorMoved", &Observer::notifyCursorPosition},
    {"Committed", &Observer::notifyCommit},
    {"Updated", &Observer::notifyUpdate},
};

/// Reads an iterator's path from the television's reply. Fails for a path outside `ITERATOR_PATH`, because the model
/// passes no signals of such a path to an iterator.
int readPath(sd_bus_message* message, std::string& path) {
    char const* text = nullptr;
    NRX_TRY(endOfMessageToError(sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &text)));
    if (!std::string_view(text).starts_with(ITERATOR_PATH)) {
        return -ENXIO;
    }
    path = text;
    return 1;
}

/// Destroys an iterator in the television, because the television limits the number of a process's iterators.
void destroyRemotely(ServiceConnection& connection, std::string const& table, std::string const& iterator) noexcept {
    try {
        auto const arguments = [iterator](sd_bus_message* message) {
            return sd_bus_message_append_basic(message, SD_BUS_TYPE_OBJECT_PATH, iterator.c_str());
        };
        connection.callNoReply({table, TABLE_INTERFACE, "DestroyIterator"}, arguments, true);
    } catch (...) {  // Memory ran out.
        connection.leaveAndRejoinBus();
    }
}

/// Reads the reply that names a new iterator. If memory runs out, leaves the bus, so that the television destroys the
/// iterator.
template <typename Read>
MessageBody orLeave(ServiceConnection& connection, Read const& read) {
    return [&connection, read](sd_bus_message* message) {
        try {
            return read(message);
        } catch (...) {  // Memory ran out.
            connection.leaveAndRejoinBus();
            throw;
        }
    };
}

}  // namespace

RemoteIterator::RemoteIterator(SharedModelState& modelState, std::string path, objbus::ObserverTableIterator* observer)
    : modelState_(modelState),
      path_(std::move(path)),
      registration_(std::make_shared<television::TypedRegistration<Observer>>(observer, observer, this)) {}

template <typename Notify>
void RemoteIterator::post(Notify notify) const {
    television::postTo(registration_, modelState_.delivery, std::move(notify));
}

void RemoteIterator::closeAndNotifyLoss() {
    if (!isClosed_.exchange(true)) {
        modelState_.iterators.erase(path_);
        post([](Observer& observer) { observer.notifyIteratorReady(television::STATUS_LOST); });
    }
}

void RemoteIterator::closeAndDestroyRemotely(std::string const& tablePath) {
    if (!isClosed_.exchange(true)) {
        modelState_.iterators.erase(path_);
        destroyRemotely(modelState_.connection, tablePath, path_);
    }
}

void RemoteIterator::callNoReply(char const* name, MessageBody arguments) const {
    if (!isClosed_) {
        catchToStatus([&] {
            modelState_.connection.callNoReply({path_, ITERATOR_INTERFACE, name}, std::move(arguments));
            return 0;
        });
    }
}

void RemoteIterator::requestTotalCount() { callNoReply("RequestTotalCount", {}); }

void RemoteIterator::seekToRow(int row) {
    callNoReply("SeekToRow", [row](sd_bus_message* message) { return append(message, row); });
}

void RemoteIterator::seekToContent(std::string const& content) {
    catchToStatus([&] {
        callNoReply("SeekToContent", [content](sd_bus_message* message) { return append(message, content); });
        return 0;
    });
}

void RemoteIterator::readRow() { callNoReply("ReadRow", {}); }

void RemoteIterator::readRowChunk(int count) {
    callNoReply("ReadRowChunk", [count](sd_bus_message* message) { return append(message, count); });
}

void RemoteIterator::commit() { callNoReply("Commit", {}); }

void RemoteIterator::handleSignal(sd_bus_message* signal) {
    auto const isNamed = [signal](char const* name) {
        return sd_bus_message_is_signal(signal, ITERATOR_INTERFACE, name) > 0;
    };
    auto const notify = [&] {
        for (NumberSignal const& known : NUMBER_SIGNALS) {
            if (int number = 0; isNamed(known.name)) {
                NRX_TRY(read(signal, number));
                post([notify = known.notify, number](Observer& observer) { (observer.*notify)(number); });
            }
        }
        if (std::vector<std::string> row; isNamed("RowRead")) {
            NRX_TRY(read(signal, row));
            post([row = std::move(row)](Observer& observer) { observer.notifyReadRow(row); });
        } else if (std::vector<std::vector<std::string>> rows; isNamed("RowChunkRead")) {
            NRX_TRY(read(signal, rows));
            post([rows = std::move(rows)](Observer& observer) { television::notifyChunk(observer, rows); });
        }
        return 0;
    };
    if (int const result = notify(); result < 0) {
        reportFailure(path_, "notify", statusOfReadError(result));
    }
}

objbus::TableIterator* TableObject::createIterator(objbus::IteratorType const& type,
                                                   objbus::ObserverTableIterator* observer,
                                                   std::vector<objbus::TableSelection> const& selections,
                                                   std::vector<int> const& columns,
                                                   std::vector<objbus::TableOrder> const& orders) {
    std::shared_ptr<RemoteIterator> iterator;
    auto const arguments = [&](sd_bus_message* message) {
        return appendAll(message, static_cast<int>(type), selections, columns, orders);
    };
    auto const reply = [&](sd_bus_message* message) {
        std::string iteratorPath;
        NRX_TRY(readPath(message, iteratorPath));
        // The iterator is created while the reply is handled, because the next message may be a signal of the iterator.
        iterator = std::make_shared<RemoteIterator>(modelState(), iteratorPath, observer);
        decltype(iterators_)::PreparedInsertion prepared(iterator);
        television::MutexLock const lock(modelState().mutex);
        modelState().iterators.insert_or_assign(iteratorPath, iterator);
        iterators_.add(std::move(prepared));
        return 1;
    };
    int const status = catchToStatus([&] {
        auto const lateReply = [&connection = connection(), table = path()](sd_bus_message* message) {
            std::string iteratorPath;
            NRX_TRY(readPath(message, iteratorPath));
            destroyRemotely(connection, table, iteratorPath);
            return 0;
        };
        return call(TABLE_INTERFACE, "CreateIterator", arguments, orLeave(connection(), reply),
                    orLeave(connection(), lateReply));
    });
    if (status == television::STATUS_NOT_CARRIED || status == television::STATUS_TOO_MANY) {
        logFailure("createIterator", status);
    }
    logIfFailed("createIterator", status);
    return status == television::STATUS_OK ? iterator.get() : nullptr;
}

int TableObject::destroyIterator(objbus::TableIterator* iterator) {
    std::shared_ptr<RemoteIterator> destroyed;
    {
        television::MutexLock const lock(modelState().mutex);
        destroyed = iterators_.destroy(iterator);
        if (destroyed) {
            destroyed->closeAndDestroyRemotely(path());
        }
    }
    if (!destroyed) {
        return logIfFailed("destroyIterator", television::STATUS_UNKNOWN_ITERATOR);
    }
    auto const registration = destroyed->observerRegistration();
    delivery().cancel(*registration);
    delivery().waitWhileRunning(registration->observer, registration->notificationSource);
    return television::STATUS_OK;
}

void TableObject::handleSignal(sd_bus_message* signal) {
    int update = 0;
    if (sd_bus_message_is_signal(signal, TABLE_INTERFACE, "Updated") <= 0) {
        return;
    }
    if (read(signal, update) < 0) {
        logFailure("notify", television::STATUS_NOT_UNDERSTOOD);
        return;
    }
    television::MutexLock const lock(modelState().mutex);
    post([update](auto& observer) { observer.notifyUpdate(update); });
}

void TableObject::abandonUnfinishedOperations() {
    for (auto const& iterator : iterators_.live()) {
        catchToStatus([&lost = *iterator] { return lost.closeAndNotifyLoss(), television::STATUS_OK; });
    }
}

}  // namespace bus
