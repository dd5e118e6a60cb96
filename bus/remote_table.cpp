#include "bus/remote_table.h"

#include <utility>

#include "bus/contract.h"

namespace bus {

namespace {

using Observer = objbus::ObserverTableIterator;

/// Notifications that are one number, by their signals.
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

/// The path of an iterator, as the television answers. Elsewhere others hear.
int readPath(sd_bus_message* message, std::string& path) {
    char const* text = nullptr;
    int const result = sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &text);
    if (result <= 0 || !std::string_view(text).starts_with(ITERATOR_PATH)) {
        return -ENXIO;
    }
    path = text;
    return result;
}

Content destroying(std::string path) {
    return [path = std::move(path)](sd_bus_message* message) {
        return sd_bus_message_append_basic(message, SD_BUS_TYPE_OBJECT_PATH, path.c_str());
    };
}

}  // namespace

RemoteIterator::RemoteIterator(Model& model, std::string path, objbus::ObserverTableIterator* observer)
    : model_(model),
      path_(std::move(path)),
      connection_{observer, std::make_shared<television::Registration>(television::Registration{observer, this})} {}

void RemoteIterator::lose() {
    if (!isLost_.exchange(true)) {
        model_.link.forget(path_);
        connection_.post(model_.delivery,
                         [](Observer& observer) { observer.notifyIteratorReady(television::STATUS_LOST); });
    }
}

void RemoteIterator::destroy(std::string const& table) {
    safely([&] {
        if (!isLost_.exchange(true)) {
            model_.link.forget(path_);
            model_.link.tell({table, TABLE_INTERFACE, "DestroyIterator"}, destroying(path_));
        }
        return 0;
    });
}

void RemoteIterator::tell(char const* name, Content arguments) const {
    if (isLost_) {
        return;
    }
    safely([&] {
        model_.link.tell({path_, ITERATOR_INTERFACE, name}, std::move(arguments));
        return 0;
    });
}

void RemoteIterator::requestTotalCount() { tell("RequestTotalCount", {}); }

void RemoteIterator::seekToRow(int row) {
    tell("SeekToRow", [row](sd_bus_message* message) { return append(message, row); });
}

void RemoteIterator::seekToContent(std::string const& content) {
    safely([&] {
        tell("SeekToContent", [content](sd_bus_message* message) { return append(message, content); });
        return 0;
    });
}

void RemoteIterator::readRow() { tell("ReadRow", {}); }

void RemoteIterator::readRowChunk(int count) {
    tell("ReadRowChunk", [count](sd_bus_message* message) { return append(message, count); });
}

void RemoteIterator::commit() { tell("Commit", {}); }

void RemoteIterator::hear(sd_bus_message* signal) {
    for (NumberSignal const& known : NUMBER_SIGNALS) {
        int number = 0;
        if (sd_bus_message_is_signal(signal, ITERATOR_INTERFACE, known.name) > 0 && read(signal, number) >= 0) {
            connection_.post(model_.delivery,
                             [notify = known.notify, number](Observer& observer) { (observer.*notify)(number); });
        }
    }
    std::vector<std::string> row;
    std::vector<std::vector<std::string>> rows;
    if (sd_bus_message_is_signal(signal, ITERATOR_INTERFACE, "RowRead") > 0 && read(signal, row) >= 0) {
        connection_.post(model_.delivery, [row = std::move(row)](Observer& observer) { observer.notifyReadRow(row); });
    } else if (sd_bus_message_is_signal(signal, ITERATOR_INTERFACE, "RowChunkRead") > 0 && read(signal, rows) >= 0) {
        connection_.post(model_.delivery,
                         [rows = std::move(rows)](Observer& observer) { television::notifyChunk(observer, rows); });
    }
}

objbus::TableIterator* TableObject::createIterator(objbus::IteratorType const& type,
                                                   objbus::ObserverTableIterator* observer,
                                                   std::vector<objbus::TableSelection> const& selections,
                                                   std::vector<int> const& columns,
                                                   std::vector<objbus::TableOrder> const& orders) {
    std::shared_ptr<RemoteIterator> iterator;
    auto const question = [&](sd_bus_message* message) {
        int result = append(message, static_cast<int>(type));
        result = result < 0 ? result : append(message, selections);
        result = result < 0 ? result : append(message, columns);
        return result < 0 ? result : append(message, orders);
    };
    auto const answer = [&](sd_bus_message* message) {
        std::string made;
        int const result = readPath(message, made);
        if (result >= 0) {  // Before the next message is read, which may be the iterator's.
            iterator = std::make_shared<RemoteIterator>(model(), made, observer);
            std::lock_guard const lock(model().mutex);
            iterators_.emplace(iterator.get(), iterator);
            link().listenAlone(made, iterator);
        }
        return result;
    };
    int const status = safely([&] {
        auto const late = [&link = link(), table = path()](sd_bus_message* message) {
            std::string made;
            if (readPath(message, made) >= 0) {
                link.tell({table, TABLE_INTERFACE, "DestroyIterator"}, destroying(made));
            }
            return 0;
        };
        return ask(TABLE_INTERFACE, "CreateIterator", question, answer, late);
    });
    if (status == television::STATUS_NOT_CARRIED) {
        report("createIterator", status);
    }
    return status == television::STATUS_OK ? iterator.get() : nullptr;
}

int TableObject::destroyIterator(objbus::TableIterator* iterator) {
    std::shared_ptr<RemoteIterator> destroyed;
    {
        std::lock_guard const lock(model().mutex);
        auto const found = iterators_.find(iterator);
        if (found == iterators_.end()) {
            return television::STATUS_UNKNOWN_ITERATOR;
        }
        destroyed = std::move(found->second);
        iterators_.erase(found);
    }
    auto const& registration = destroyed->registration();
    model().delivery.end(*registration);
    destroyed->destroy(path());
    model().delivery.waitWhileRunning(registration->observer, registration->source);
    return television::STATUS_OK;
}

void TableObject::hear(sd_bus_message* signal) {
    int update = 0;
    if (sd_bus_message_is_signal(signal, TABLE_INTERFACE, "Updated") > 0 && read(signal, update) >= 0) {
        std::lock_guard const lock(model().mutex);
        post([update](auto& observer) { observer.notifyUpdate(update); });
    }
}

void TableObject::lose() {
    for (auto const& [key, iterator] : iterators_) {
        iterator->lose();
    }
}

}  // namespace bus
