#include "bus/server/served_iterator.h"

#include <systemd/sd-id128.h>

#include <array>
#include <system_error>
#include <tuple>
#include <vector>

#include "bus/server/guarded.h"
#include "bus/server/registration.h"
#include "bus/server/report.h"
#include "television/status.h"
#include "television/table_iterator.h"

namespace bus::server {

namespace {

/// Tells an iterator's maker what became of its calls.
class IteratorObserver final : public objbus::ObserverTableIterator {
public:
    explicit IteratorObserver(Emitter emitter) : emitter_(std::move(emitter)) {}

    void notifyCommit(int status) override { emitter_.signal("Committed", status); }
    void notifyTotalCount(int count) override { emitter_.signal("TotalCount", count); }
    void notifySeekToRow(int row) override { emitter_.signal("RowSought", row); }
    void notifySeekToContent(int row) override { emitter_.signal("ContentSought", row); }
    void notifyCursorPosition(int row) override { emitter_.signal("CursorMoved", row); }
    void notifyReadRow(std::vector<std::string> const& row) override { answer("RowRead", row); }
    void notifyReadRowChunk(std::vector<std::vector<std::string> const*> const& rows) override {
        std::vector<std::vector<std::string>> copies;
        copies.reserve(rows.size());
        for (auto const* const row : rows) {
            copies.push_back(*row);
        }
        answer("RowChunkRead", copies);
    }
    void notifyIteratorReady(int status) override { emitter_.signal("Ready", status); }
    void notifyUpdate(int update) override { emitter_.signal("Updated", update); }

private:
    template <typename Rows>
    void answer(char const* member, Rows const& rows) {
        if (!emitter_.signalIfCarried(member, rows)) {
            notifyIteratorReady(television::STATUS_NOT_CARRIED);
        }
    }

    Emitter const emitter_;
};

}  // namespace

/// One iterator of the model's, and who may use it.
class ServedIterator {
public:
    /// Has no iterator when the table refuses to make one.
    ServedIterator(Emitter emitter, Ground& ground, objbus::ObjectTable& table, objbus::IteratorType type,
                   std::vector<objbus::TableSelection> const& selections, std::vector<int> const& columns,
                   std::vector<objbus::TableOrder> const& orders)
        : emitter_(std::move(emitter)),
          ground_(ground),
          table_(table),
          observer_(std::make_unique<IteratorObserver>(emitter_)),
          iterator_(table.createIterator(type, observer_.get(), selections, columns, orders)) {}
    ServedIterator(ServedIterator const&) = delete;
    ServedIterator& operator=(ServedIterator const&) = delete;
    ~ServedIterator() {
        emitter_.end();
        try {
            destroy();
        } catch (...) {  // The model has it still.
        }
        if (iterator_ != nullptr) {
            ground_.stranded.push_back(std::move(observer_));
        }
    }

    /// Returns a status of the television's, and throws what it throws. The iterator is still there when it throws or
    /// refuses.
    int destroy() {
        int const status = iterator_ != nullptr ? table_.destroyIterator(iterator_) : television::STATUS_OK;
        if (status == television::STATUS_OK || status == television::STATUS_UNKNOWN_ITERATOR) {
            iterator_ = nullptr;
        }
        return status;
    }

    [[nodiscard]] objbus::TableIterator* iterator() const { return iterator_; }
    [[nodiscard]] std::string const& key() const { return emitter_.origin().key; }
    [[nodiscard]] std::string const& client() const { return emitter_.origin().receiver; }
    [[nodiscard]] bool belongsTo(char const* client) const { return client == this->client(); }

private:
    Emitter const emitter_;
    Ground& ground_;
    objbus::ObjectTable& table_;
    std::unique_ptr<objbus::ObserverTableIterator> observer_;
    objbus::TableIterator* iterator_;
};

namespace {

int refuseStranger(sd_bus_error* error) {
    return sd_bus_error_set(error, SD_BUS_ERROR_ACCESS_DENIED, "the iterator belongs to another client");
}

/// Carries out a method: the operation of the same name, with the arguments of the call.
template <auto OPERATION, typename... Arguments>
int operate(sd_bus_message* call, void* found, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        auto const& served = *static_cast<ServedIterator*>(found);
        if (!served.belongsTo(sd_bus_message_get_sender(call))) {
            return refuseStranger(error);
        }
        std::tuple<Arguments...> arguments;
        int result = 0;
        std::apply(
            [&](auto&... argument) {
                result = readAll(call, argument...);
                if (result >= 0) {
                    (served.iterator()->*OPERATION)(argument...);
                }
            },
            arguments);
        return result < 0 ? refuseUnread(error, served.key(), result) : sd_bus_reply_method_return(call, "");
    });
}

using objbus::TableIterator;

constexpr sd_bus_vtable ITERATOR_TABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("RequestTotalCount", "", "", operate<&TableIterator::requestTotalCount>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SeekToRow", "i", SD_BUS_PARAM(row), "", "", (operate<&TableIterator::seekToRow, int>),
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SeekToContent", "s", SD_BUS_PARAM(content), "", "",
                             (operate<&TableIterator::seekToContent, std::string>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("ReadRow", "", "", operate<&TableIterator::readRow>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("ReadRowChunk", "i", SD_BUS_PARAM(count), "", "",
                             (operate<&TableIterator::readRowChunk, int>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Commit", "", "", operate<&TableIterator::commit>, SD_BUS_VTABLE_UNPRIVILEGED),
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

/// Where the iterators of this television stand, and no other's ever: a client may have some of an earlier one.
std::string newPlaces() {
    sd_id128_t id{};
    if (int const result = sd_id128_randomize(&id); result < 0) {
        throw std::system_error(-result, std::generic_category(), "no random number");
    }
    std::array<char, SD_ID128_STRING_MAX> text{};
    return std::string(ITERATOR_PATH) + '/' + sd_id128_to_string(id, text.data()) + '/';
}

}  // namespace

Iterators::Iterators(sd_bus* bus, Ground& ground) : ground_(ground), places_(newPlaces()) {
    interface_ =
        registered(sd_bus_add_fallback_vtable, bus, ITERATOR_PATH, ITERATOR_INTERFACE, ITERATOR_TABLE, find, this);
    nodes_ = registered(sd_bus_add_node_enumerator, bus, ITERATOR_PATH, list, this);
    leaving_ = registered(sd_bus_add_match, bus,
                          "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
                          "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg2=''",
                          handleLeave, this);
}

Iterators::~Iterators() = default;

void Iterators::drop(std::string const& table) {
    for (auto place = iterators_.begin(); place != iterators_.end();) {
        auto const each = place++;
        if (each->second->key() == table) {
            erase(each);
        }
    }
}

void Iterators::erase(All::iterator place) {
    if (auto const client = clients_.find(place->second->client()); client != clients_.end()) {
        client->second.erase(place->first);
        if (client->second.empty()) {
            clients_.erase(client);
        }
    }
    iterators_.erase(place);
}

void Iterators::eraseAllOf(char const* client) {
    if (auto const found = clients_.find(client); found != clients_.end()) {
        for (std::string const& path : found->second) {
            iterators_.erase(path);
        }
        clients_.erase(found);
    }
}

int Iterators::create(sd_bus_message* call, ServedObject const& table, sd_bus_error* error) {
    int type = 0;
    std::vector<objbus::TableSelection> selections;
    std::vector<int> columns;
    std::vector<objbus::TableOrder> orders;
    if (int const result = readAll(call, type, selections, columns, orders); result < 0) {
        return refuseUnread(error, table.key(), result);
    }
    std::string const client = sd_bus_message_get_sender(call);
    if (auto const found = clients_.find(client); found != clients_.end() && found->second.size() >= MOST) {
        return bus::refuse(error, television::STATUS_TOO_MANY);
    }
    std::string path = places_ + std::to_string(++lastNumber_);
    Emitter emitter(table.surroundings().outgoing, ground_.tasks, {table.key(), path, ITERATOR_INTERFACE, client});
    auto made = std::make_unique<ServedIterator>(std::move(emitter), ground_, table.as<objbus::ObjectTable>(),
                                                 objbus::IteratorType{type}, selections, columns, orders);
    if (made->iterator() == nullptr) {
        return bus::refuse(error, television::STATUS_UNKNOWN_ITERATOR);
    }
    clients_[client].insert(path);
    auto const place = iterators_.emplace(std::move(path), std::move(made)).first;
    return sd_bus_reply_method_return(call, "o",
                                      place->first.c_str());  // What it tells, Ready too, waits for the loop.
}

int Iterators::destroy(sd_bus_message* call, ServedObject const& table, sd_bus_error* error) {
    char const* path = nullptr;
    if (int const result = sd_bus_message_read(call, "o", &path); result < 0) {
        return result;
    }
    auto const place = iterators_.find(path);
    if (place == iterators_.end() || place->second->key() != table.key()) {
        return bus::refuse(error, television::STATUS_UNKNOWN_ITERATOR);
    }
    if (!place->second->belongsTo(sd_bus_message_get_sender(call))) {
        return refuseStranger(error);
    }
    int const status = place->second->destroy();
    if (place->second->iterator() == nullptr) {
        erase(place);
    }
    return status != television::STATUS_OK ? bus::refuse(error, status) : sd_bus_reply_method_return(call, "");
}

int Iterators::find(sd_bus* /*bus*/, char const* path, char const* /*interface*/, void* iterators, void** found,
                    sd_bus_error* /*error*/) noexcept {
    auto const& all = static_cast<Iterators*>(iterators)->iterators_;
    auto const place = all.find(path);
    *found = place != all.end() ? place->second.get() : nullptr;
    return *found != nullptr ? 1 : 0;
}

int Iterators::list(sd_bus* /*bus*/, char const* prefix, void* iterators, char*** nodes, sd_bus_error* error) noexcept {
    return guarded(error, [=] { return listPaths(static_cast<Iterators*>(iterators)->iterators_, prefix, nodes); });
}

int Iterators::handleLeave(sd_bus_message* signal, void* iterators, sd_bus_error* error) noexcept {
    return guarded(error, [=] {
        char const* client = nullptr;
        if (isFromBus(signal) && sd_bus_message_read_basic(signal, SD_BUS_TYPE_STRING, &client) > 0) {
            static_cast<Iterators*>(iterators)->eraseAllOf(client);
        }
        return 0;
    });
}

}  // namespace bus::server
