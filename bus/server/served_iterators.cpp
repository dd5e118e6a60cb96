#include "bus/server/served_iterators.h"

#include <systemd/sd-id128.h>

#include <array>
#include <cassert>
#include <cerrno>
#include <new>
#include <system_error>
#include <tuple>
#include <vector>

#include "bus/server/bus_slots.h"
#include "bus/server/catch_to_error.h"
#include "bus/server/report.h"
#include "television/status.h"
#include "television/table_iterator.h"

namespace bus::server {

namespace {

/// Sends an iterator's notifications to the client that created the iterator.
class IteratorObserver final : public objbus::ObserverTableIterator {
public:
    explicit IteratorObserver(SignalEmitter emitter) : emitter_(std::move(emitter)) {}

    void notifyCommit(int status) override { emitter_.emitSignal("Committed", status); }
    void notifyTotalCount(int count) override { emitter_.emitSignal("TotalCount", count); }
    void notifySeekToRow(int row) override { emitter_.emitSignal("RowSought", row); }
    void notifySeekToContent(int row) override { emitter_.emitSignal("ContentSought", row); }
    void notifyCursorPosition(int row) override { emitter_.emitSignal("CursorMoved", row); }
    void notifyReadRow(std::vector<std::string> const& row) override { emitRows("RowRead", row); }
    void notifyReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) override {
        std::vector<std::vector<std::string>> copies;
        copies.reserve(rows.size());
        for (auto const* const row : rows) {
            copies.push_back(*row);
        }
        emitRows("RowChunkRead", copies);
    }
    void notifyIteratorReady(int status) override { emitter_.emitSignal("Ready", status); }
    void notifyUpdate(int update) override { emitter_.emitSignal("Updated", update); }

private:
    template <typename Rows>
    void emitRows(char const* member, Rows const& rows) {
        if (!emitter_.emitSignalIfWithinSizeLimit(member, rows)) {
            notifyIteratorReady(television::STATUS_NOT_CARRIED);
        }
    }

    SignalEmitter const emitter_;
};

}  // namespace

/// One iterator of the model, and the client that may use it.
class ServedIterator {
public:
    /// `iterator()` is null if the table refuses to create an iterator.
    ServedIterator(SignalEmitter emitter, ServerLoop& loop, objbus::ObjectTable& table, objbus::IteratorType type,
                   std::vector<objbus::TableSelection> const& selections, std::vector<int> const& columns,
                   std::vector<objbus::TableOrder> const& orders)
        : emitter_(std::move(emitter)), loop_(loop), table_(table) {
        auto observer = std::make_unique<IteratorObserver>(emitter_);
        auto* const receiver = observer.get();
        ownObserver_.push_back(std::move(observer));
        iterator_ = table.createIterator(type, receiver, selections, columns, orders);
    }
    ServedIterator(ServedIterator const&) = delete;
    ServedIterator& operator=(ServedIterator const&) = delete;
    ~ServedIterator() {
        emitter_.stopEmitting();
        try {
            destroy();
        } catch (...) {  // The model still has the iterator and may notify the observer, so the observer is kept.
        }
        if (iterator_ != nullptr) {
            loop_.observersWithFailedDisconnect.splice(loop_.observersWithFailedDisconnect.end(), ownObserver_);
        }
    }

    /// Returns the television's status. Exceptions of the television pass through. If the television throws, or returns
    /// a status other than 0 and `STATUS_UNKNOWN_ITERATOR`, the iterator still exists.
    int destroy() {
        int const status = iterator_ != nullptr ? table_.destroyIterator(iterator_) : television::STATUS_OK;
        if (status == television::STATUS_OK || status == television::STATUS_UNKNOWN_ITERATOR) {
            iterator_ = nullptr;
        }
        return status;
    }

    [[nodiscard]] objbus::TableIterator* iterator() const { return iterator_; }
    [[nodiscard]] std::string const& key() const { return emitter_.source().key; }
    [[nodiscard]] std::string const& client() const { return emitter_.source().destination; }
    [[nodiscard]] bool belongsTo(char const* client) const { return client == this->client(); }

private:
    SignalEmitter const emitter_;
    ServerLoop& loop_;
    objbus::ObjectTable& table_;
    ServerLoop::ObserverList ownObserver_;  ///< Has one element.
    objbus::TableIterator* iterator_ = nullptr;
};

namespace {

int refuseStranger(sd_bus_error* error) {
    return sd_bus_error_set(error, SD_BUS_ERROR_ACCESS_DENIED, "the iterator belongs to another client");
}

/// Handles a method call: calls the iterator's `OPERATION` with the arguments of the call.
template <auto OPERATION, typename... Arguments>
int handleCall(sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return catchToError(error, [=] {
        auto const& served = *static_cast<ServedIterator*>(found);
        if (!served.belongsTo(sd_bus_message_get_sender(call))) {
            return refuseStranger(error);
        }
        std::tuple<Arguments...> arguments;
        auto const readAndOperate = [&](auto&... argument) {
            NRX_TRY(readAll(call, argument...));
            (served.iterator()->*OPERATION)(argument...);
            return 0;
        };
        int const result = std::apply(readAndOperate, arguments);
        return result < 0 ? setErrorIfTooLarge(error, served.key(), result) : sd_bus_reply_method_return(call, "");
    });
}

using objbus::TableIterator;

constexpr sd_bus_vtable ITERATOR_VTABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("RequestTotalCount", "", "", handleCall<&TableIterator::requestTotalCount>,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SeekToRow", "i", SD_BUS_PARAM(row), "", "", (handleCall<&TableIterator::seekToRow, int>),
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SeekToContent", "s", SD_BUS_PARAM(content), "", "",
                             (handleCall<&TableIterator::seekToContent, std::string>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("ReadRow", "", "", handleCall<&TableIterator::readRow>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("ReadRowChunk", "i", SD_BUS_PARAM(count), "", "",
                             (handleCall<&TableIterator::readRowChunk, int>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Commit", "", "", handleCall<&TableIterator::commit>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Ready", "i", SD_BUS_PARAM(status), 0),
    SD_BUS_SIGNAL_WITH_NAMES("TotalCount", "i", SD_BUS_PARAM(count), 0),
    SD_BUS_SIGNAL_WITH_NAMES("RowSought", "i", SD_BUS_PARAM(row), 0),
    SD_BUS_SIGNAL_WITH_NAMES("ContentSought", "i", SD_BUS_PARAM(row), 0),
    SD_BUS_SIGNAL_WITH_NAMES("CursorMoved", "i", SD_BUS_PARAM(row), 0),
    SD_BUS_SIGNAL_WITH_NAMES("RowRead", "as", SD_BUS_PARAM(row), 0),
    SD_BUS_SIGNAL_WITH_NAMES("RowChunkRead", "aas", SD_BUS_PARAM(rows), 0),
    SD_BUS_SIGNAL_WITH_NAMES("Committed", "i", SD_BUS_PARAM(status), 0),
    SD_BUS_SIGNAL_WITH_NAMES("Updated", "i", SD_BUS_PARAM(update), 0),
    SD_BUS_VTABLE_END,
};

/// Makes a path prefix that no earlier television had, because clients may still call iterators of an earlier
/// television.
std::string newPathPrefix() {
    sd_id128_t id{};
    if (int const result = sd_id128_randomize(&id); result < 0) {
        throw std::system_error(-result, std::generic_category(), "no random number");
    }
    std::array<char, SD_ID128_STRING_MAX> text{};
    return std::string(ITERATOR_PATH) + '/' + sd_id128_to_string(id, text.data()) + '/';
}

}  // namespace

ServedIterators::ServedIterators(sd_bus* bus, ServerLoop& loop) : loop_(loop), pathPrefix_(newPathPrefix()) {
    interfaceSlot_ = makeSlot(sd_bus_add_fallback_vtable, bus, ITERATOR_PATH, ITERATOR_INTERFACE, ITERATOR_VTABLE,
                              findIterator, this);
    nodesSlot_ = makeSlot(sd_bus_add_node_enumerator, bus, ITERATOR_PATH, enumerateNodes, this);
    clientLeftSlot_ =
        makeSlot(sd_bus_add_match, bus, CLIENT_LEFT_RULE, memberHandler<&ServedIterators::handleClientLeft>, this);
}

ServedIterators::~ServedIterators() = default;

void ServedIterators::eraseTable(std::string const& key) {
    for (auto next = iterators_.begin(); next != iterators_.end();) {
        auto const position = next++;
        if (position->second->key() == key) {
            erase(position);
        }
    }
}

void ServedIterators::erase(IteratorMap::iterator position) {
    if (auto const client = clientPaths_.find(position->second->client()); client != clientPaths_.end()) {
        client->second.erase(position->first);
        if (client->second.empty()) {
            clientPaths_.erase(client);
        }
    }
    iterators_.erase(position);
}

void ServedIterators::eraseClient(char const* client) {
    if (auto const found = clientPaths_.find(client); found != clientPaths_.end()) {
        for (std::string const& path : found->second) {
            iterators_.erase(path);
        }
        clientPaths_.erase(found);
    }
}

int ServedIterators::handleCreate(sd_bus_message* call, ServedObject const& table, sd_bus_error* error) {
    int type = 0;
    std::vector<objbus::TableSelection> selections;
    std::vector<int> columns;
    std::vector<objbus::TableOrder> orders;
    if (int const result = readAll(call, type, selections, columns, orders); result < 0) {
        return setErrorIfTooLarge(error, table.key(), result);
    }
    std::string const client = sd_bus_message_get_sender(call);
    auto const paths = clientPaths_.find(client);
    if (paths != clientPaths_.end() && paths->second.size() >= MAX_PER_CLIENT) {
        return setStatusError(error, television::STATUS_TOO_MANY);
    }
    std::string const path = pathPrefix_ + std::to_string(++lastNumber_);
    SignalEmitter emitter(table.context().sendQueue, loop_.tasks, {table.key(), path, ITERATOR_INTERFACE, client});
    auto served = std::make_unique<ServedIterator>(std::move(emitter), loop_, table.as<objbus::ObjectTable>(),
                                                   objbus::IteratorType{type}, selections, columns, orders);
    if (served->iterator() == nullptr) {
        return setStatusError(error, television::STATUS_UNKNOWN_ITERATOR);
    }
    assert(!iterators_.contains(path));
    auto const position = iterators_.emplace(path, std::move(served)).first;
    try {
        clientPaths_[client].insert(path);
        // The reply precedes the iterator's signals, because the loop sends the signals later.
        if (int const result = sd_bus_reply_method_return(call, "o", path.c_str()); result >= 0) {
            return result;
        }
    } catch (std::bad_alloc const&) {
    }
    erase(position);  // Memory ran out. The client gets no path and cannot destroy the iterator.
    return -ENOMEM;
}

int ServedIterators::handleDestroy(sd_bus_message* call, ServedObject const& table, sd_bus_error* error) {
    char const* path = nullptr;
    NRX_TRY(sd_bus_message_read(call, "o", &path));
    auto const found = iterators_.find(path);
    if (found == iterators_.end() || found->second->key() != table.key()) {
        return setStatusError(error, television::STATUS_UNKNOWN_ITERATOR);
    }
    if (!found->second->belongsTo(sd_bus_message_get_sender(call))) {
        return refuseStranger(error);
    }
    int const status = found->second->destroy();
    if (found->second->iterator() == nullptr) {
        erase(found);
    }
    return status != television::STATUS_OK ? setStatusError(error, status) : sd_bus_reply_method_return(call, "");
}

int ServedIterators::findIterator(sd_bus* /*bus*/, char const* path, char const* /*interface*/, void* iterators,
                                  void** found, sd_bus_error* /*error*/) noexcept {
    auto const& all = static_cast<ServedIterators*>(iterators)->iterators_;
    auto const position = all.find(path);
    *found = position != all.end() ? position->second.get() : nullptr;
    return *found != nullptr ? 1 : 0;
}

int ServedIterators::enumerateNodes(sd_bus* /*bus*/, char const* prefix, void* iterators, char*** nodes,
                                    sd_bus_error* error) noexcept {
    return catchToError(
        error, [=] { return makeNodeList(static_cast<ServedIterators*>(iterators)->iterators_, prefix, nodes); });
}

int ServedIterators::handleClientLeft(sd_bus_message* signal, sd_bus_error* /*error*/) {
    char const* client = nullptr;
    if (isFromBus(signal) && sd_bus_message_read_basic(signal, SD_BUS_TYPE_STRING, &client) > 0) {
        eraseClient(client);
    }
    return 0;
}

}  // namespace bus::server
