// The facade and the access objects in front of a television that does what it likes. After every step they must agree
// with a plain model of both: in the statuses, in what is read and held, in what was heard, and in the registrations.

#include <unistd.h>

#include <array>
#include <atomic>

#include "fuzz/access_model.h"
#include "fuzz/harness.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/log.h"
#include "simulator/table_iterator.h"

namespace fuzz {

static std::atomic<int> sleeps = 0;

}  // namespace fuzz

/// Stands before the C library's, so that waiting costs no time.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds) {
    fuzz::expect(microseconds == 100'000, "a connect waits in steps of 100 milliseconds");
    ++fuzz::sleeps;
    return 0;
}

namespace fuzz {
namespace {

using namespace orvane::model_keys;
using orvane::NRXModelAccess;

/// The keys, each with the kind that it usually has.
constexpr std::pair<char const*, Kind> KEYS[] = {{COMMAND, TEXTS},        {EVENT, TEXTS},   {SOFTWARE_VERSION, TEXT},
                                                 {SOURCE_SWITCH, ACTION}, {"table", TABLE}, {"number", INT64},
                                                 {"missing", INTEGER}};

/// What somebody heard, and should have heard.
struct Hearing {
    void hear(Strings const& line) {
        heard.push_back(line);
        if (auto const act = std::exchange(then, nullptr)) {
            act();  // Last: the access object may be gone afterwards.
        }
    }

    std::vector<Strings> heard;
    std::vector<Strings> expected;
    std::function<void()> then;
};

struct Client final : orvane::NRXModelAccessClient, Hearing {
    void onNRXCommandReceived(Strings const& list) override { hear(named(COMMAND, list)); }
    void onNRXEventReceived(Strings const& list) override { hear(named(EVENT, list)); }
    static Strings named(char const* name, Strings list) {
        list.insert(list.begin(), name);
        return list;
    }
};

/// Passes on what an access object tells. Nobody else holds it.
struct Ear final : ValueHandler, ActionHandler, IteratorHandler {
    explicit Ear(Hearing& receiver) : to(receiver) {}
    void handleNewValue(IValueObject const& value) override { hearTexts({std::to_string(value.type())}, value); }
    void handleResult(unsigned int id, ValueObject const& results) override {
        hearTexts({std::to_string(id), std::to_string(results.type())}, results);
    }
    void handleExecutionError(unsigned int id, int error) override {
        to.hear({"error", std::to_string(id), std::to_string(error)});
    }
    void handleCommit(int status) override { hearNumber("commit", status); }
    void handleTotalCount(int count) override { hearNumber("count", count); }
    void handleSeekToRow(int row) override { hearNumber("row", row); }
    void handleSeekToContent(int row) override { hearNumber("content", row); }
    void handleCursorPosition(int row) override { hearNumber("cursor", row); }
    void handleReadRow(Strings const& row) override { to.hear(row); }
    void handleReadRowChunk(std::vector<Strings const*> const& rows) override {
        to.hear(rows.empty() ? Strings{"none"} : *rows.back());
    }
    void handleIteratorReady(int status) override { hearNumber("ready", status); }
    void handleUpdate(int update) override { hearNumber("update", update); }

    void hearNumber(char const* name, int number) { to.hear({name, std::to_string(number)}); }
    void hearTexts(Strings line, IValueObject const& value) {
        Strings const texts = value;
        line.insert(line.end(), texts.begin(), texts.end());
        to.hear(line);
    }

    Hearing& to;
};

/// Room for one access object.
struct Slot : Hearing {
    TwinPtr twin;
    std::unique_ptr<ValueAccessBase> access;
};

using AccessPtr = std::unique_ptr<ValueAccessBase>;
template <typename Access>
AccessPtr make(char const* key, std::shared_ptr<Ear> const& ear) {
    return std::make_unique<Access>(key, ear);
}
template <>
AccessPtr make<TableAccess>(char const* key, std::shared_ptr<Ear> const& /*ear*/) {
    return std::make_unique<TableAccess>(key);
}
template <>
AccessPtr make<IteratorAccess>(char const* key, std::shared_ptr<Ear> const& ear) {
    return std::make_unique<IteratorAccess>(key, ear, objbus::IteratorType{}, std::vector<objbus::TableSelection>(),
                                            std::vector<int>(), std::vector<objbus::TableOrder>());
}
/// By their kinds.
constexpr AccessPtr (*MAKERS[])(char const*, std::shared_ptr<Ear> const&) = {
    make<ValueAccessT<objbus::ObserverNumericInteger>>,
    make<ValueAccessT<objbus::ObserverNumericInt64>>,
    make<ValueAccessT<objbus::ObserverString>>,
    make<ValueAccessT<objbus::ObserverVectorNumericInteger>>,
    make<ValueAccessT<objbus::ObserverVectorString>>,
    make<ActionAccess>,
    make<TableAccess>,
    make<IteratorAccess>};

class Script {
public:
    Script(std::uint8_t const* bytes, std::size_t size) : data_(bytes, size) {
        for (auto const& [name, kind] : KEYS) {
            publish(name, kind);
        }
    }
    ~Script() {
        for (Slot& slot : slots_) {
            slot.access ? release(slot) : void();
        }
        facade_ ? releaseFacade() : void();
        check();  // Nothing is left but where the television threw when it was told.
    }
    Script(Script const&) = delete;
    Script& operator=(Script const&) = delete;

    void run() {
        for (int steps = 0; data_.remaining_bytes() > 0 && steps < 150; ++steps) {
            int const who = number(0, 3);
            who == 0 ? changeTelevision() : who == 1 ? useFacade() : useSlot(slot());
            check();
        }
    }

private:
    // The choices.
    int number(int least, int most) { return data_.ConsumeIntegralInRange(least, most); }
    bool chance() { return data_.ConsumeBool(); }
    std::size_t count() { return data_.ConsumeIntegralInRange<std::size_t>(0, 3); }
    std::string text() { return data_.ConsumeRandomLengthString(4); }
    Strings texts() {
        Strings list(count());
        std::generate(list.begin(), list.end(), [this] { return text(); });
        return list;
    }
    Rows rows() {
        Rows all(count());
        std::generate(all.begin(), all.end(), [this] { return texts(); });
        return all;
    }
    /// Mostly the usual one.
    int kind(int usual) { return chance() ? usual : number(INTEGER, ITERATOR); }
    Value plain(int kind) {
        auto const edge = data_.PickValueInArray({INT_MIN - 1LL, 0LL + INT_MIN, -1LL, 0LL + INT_MAX, INT_MAX + 1LL});
        int const small = static_cast<int>(edge);
        switch (kind) {
            case INTEGER:
                return small;
            case INT64:
                return edge;
            case TEXT:
                return text();
            case INTEGERS:
                return std::vector<int>(count(), small);
            default:
                return texts();
        }
    }
    Value value(int usual) { return plain(kind(usual)); }
    Slot& slot() { return slots_[count()]; }
    /// Mostly one that is in use, with the kind that is wanted there.
    std::pair<std::string, Kind> key() {
        if (Slot const& user = slot(); chance() && user.access) {
            return {user.twin->key, std::min(user.twin->kind, TABLE)};
        }
        return data_.PickValueInArray(KEYS);
    }

    /// Expects the operation to come to what the model came to before.
    template <typename Operation>
    static void agree(int expected, Operation operation) {
        int outcome = THROWS;
        try {
            outcome = operation();
        } catch (std::bad_alloc const&) {  // The television's.
        }
        expect(outcome == expected, "an operation ends as the model says");
    }
    /// The same of one that tells nothing, but for what the television throws.
    template <typename Operation>
    static void agreeIfThrows(int expected, Operation operation) {
        agree(expected == THROWS ? THROWS : 0, [&] { return operation(), 0; });
    }

    void check() {
        tv_.waitUntilDelivered();
        tv_.waitUntilDelivered();  // What was posted from inside a notification, too.
        std::for_each(slots_.begin(), slots_.end(), compare);
        std::for_each(clients_.begin(), clients_.end(), compare);
        expect(sleeps.exchange(0) == std::exchange(model_.sleeps, 0), "a connect waits as long as its budget");
        for (auto const& [name, usual] : KEYS) {
            auto const held = tv_.get(name);
            expect(!held || *held == model_.keys[name].object->value, "the television holds what was written");
            auto const registered = std::count_if(model_.registrations.begin(), model_.registrations.end(),
                                                  [key = name](auto& each) { return each.first->key == key; });
            expect(tv_.registrations(name) == registered, "what is connected is registered, and nothing else");
        }
    }
    static void compare(Hearing& hearing) {
        expect(hearing.heard == hearing.expected, "all that was told is heard, and nothing else");
        hearing = {};
    }

    void publish(std::string const& name, int kind) {
        ObjectPtr const object = std::make_shared<Object>();
        if (kind <= TABLE) {
            object->type = TYPES[kind];
            object->answers = kind == ACTION;
        } else {
            object->type = data_.PickValueInArray({-1, 0, 5, 7, 9, 255});
        }
        if (kind < ACTION) {
            tv_.publish(name, object->value = plain(kind));
        } else if (kind == ACTION) {
            tv_.publishAction(name, [this](auto const& arguments) {
                asked_ = arguments;
                return model_.answer;
            });
        } else if (kind == TABLE) {
            tv_.publishTable(name, object->rows = rows());
        } else {
            tv_.publishBare(name, static_cast<objbus::ObjectTypeSpec>(object->type));
        }
        model_.withdraw(name);
        model_.keys[name].object = object;
    }

    void heal() {
        tv_.setRootLookup(simulator::RootLookup::published);
        model_.reachable = true;
        for (auto& [name, key] : model_.keys) {
            tv_.throwFrom(name, key.throws = Call::none);
            tv_.failConnects(name, key.unavailable = {.status = 0, .attempts = 0});
        }
    }

    void changeTelevision() {
        auto const chosen = key();
        std::string const& name = chosen.first;
        Key& key = model_.keys[name];
        switch (number(0, 13)) {
            case 0:
                return publish(name, kind(chosen.second));
            case 1:
                return agree(model_.withdraw(name), [&] { return tv_.withdraw(name); });
            case 2:
            case 3: {
                Rows const changed = rows();
                arm(nullptr);
                return agree(model_.setRows(key.object, changed), [&] { return tv_.setRows(name, changed); });
            }
            case 4: {
                auto const lookup = static_cast<simulator::RootLookup>(number(0, 3));
                model_.reachable = lookup == simulator::RootLookup::published;
                return tv_.setRootLookup(lookup);
            }
            case 5:
                return tv_.failConnects(name, key.unavailable = {number(0, 1), chance(), number(-1, 3)});
            case 6:
                tv_.failReads(name, key.unreadable = {number(-1, 1), chance()});
                return tv_.failInvokes(name, key.refusal = number(-1, 1));
            case 7:
                return tv_.throwFrom(name, key.throws = static_cast<Call>(number(0, 8)));
            case 8:
                tv_.notifyEarly(name, key.early = chance());
                return tv_.refuseIterators(name, key.refusesIterators = chance());
            case 9:
                return heal();
            default: {
                Value const changed = value(chosen.second);
                arm(nullptr);
                return agree(model_.set(key.object, changed), [&] { return tv_.set(name, changed); });
            }
        }
    }

    /// Has somebody act inside the next notification; not whose access object is being used meanwhile.
    void arm(Slot const* used) {
        Slot& receiver = slot();
        if (chance() && &receiver != used) {
            receiver.then = [this, &receiver, whole = chance()] { whole ? release(receiver) : end(receiver); };
        }
        auto const isEarly = [](auto& each) { return each.second.early; };  // Would wait for the notification to end.
        if (chance() && std::none_of(model_.keys.begin(), model_.keys.end(), isEarly)) {
            clients_[0].then = [this] { useFacade(); };
        }
    }

    /// Ends what the access object has with the television. Nothing that is on its way is heard any more.
    void end(Slot& slot) {
        heal();
        if (auto* const iterator = dynamic_cast<IteratorAccess*>(slot.access.get())) {
            agree(model_.destroy(slot.twin), [&] { return iterator->destroy(); });
        }
        while (model_.isRegistered(slot.twin)) {  // Twice, if the television could not be told of the last disconnect.
            agree(model_.disconnect(slot.twin), [&] { return slot.access->disconnect(); });
        }
        slot.expected.resize(slot.heard.size());
    }

    /// Destroys the access object, after what is its owner's part.
    void release(Slot& slot) {
        heal();
        bool const disconnectsItself = slot.twin->kind < ACTION && slot.twin->object != nullptr;
        auto const isStray = [&](auto& each) { return each.first == slot.twin && each.second != slot.twin->object; };
        auto const& registrations = model_.registrations;
        if (!disconnectsItself || std::any_of(registrations.begin(), registrations.end(), isStray)) {
            end(slot);
        }
        slot.access.reset();
        release(slot.twin);
        slot.expected.resize(slot.heard.size());
    }
    void release(TwinPtr const& twin) {
        twin->object ? model_.disconnect(twin) : 0;
        twin->table ? model_.disconnect(twin->table) : 0;
    }

    void useSlot(Slot& slot) {
        if (!slot.access) {
            auto const [name, usual] = data_.PickValueInArray(KEYS);
            int const made = kind(usual == TABLE ? number(TABLE, ITERATOR) : usual);
            slot.twin = std::make_shared<Twin>(Twin{static_cast<Kind>(made), name});
            slot.twin->hear = [&slot](Strings const& line) { slot.expected.push_back(line); };
            slot.access = MAKERS[made](name, std::make_shared<Ear>(slot));
            return;
        }
        TwinPtr const& twin = slot.twin;
        switch (number(0, 7)) {
            case 0:
                return release(slot);
            case 1: {
                int const budgetMs = number(-1, 301);
                return agree(model_.connect(twin, budgetMs), [&] { return slot.access->connect(budgetMs); });
            }
            case 2:
                return agree(model_.disconnect(twin), [&] { return slot.access->disconnect(); });
            case 3: {
                Value out = value(twin->kind);
                Value expected = out;
                auto const read = [&](auto& variable) { return slot.access->getValue(variable); };
                agree(model_.read(twin, expected), [&] { return std::visit(read, out); });
                return expect(out == expected, "a read leaves what the television wrote");
            }
            case 4: {
                Value const written = value(twin->kind);
                auto const write = [&](auto const& plain) { return slot.access->setValue(plain); };
                return agree(model_.write(twin, written), [&] { return std::visit(write, written); });
            }
            case 5: {
                bool const throws = twin->object && model_.throws(twin, Call::type);
                int const type = throws ? THROWS : twin->object ? twin->object->type : objbus::OBJECT_TYPE_NONE;
                return agree(type, [&] { return slot.access->getType(); });
            }
            default:
                break;
        }
        if (auto* const action = dynamic_cast<ActionAccess*>(slot.access.get())) {
            return invoke(slot, *action);
        }
        if (auto* const iterator = dynamic_cast<IteratorAccess*>(slot.access.get())) {
            return useIterator(twin, *iterator);
        }
        if (auto* const table = dynamic_cast<TableAccess*>(slot.access.get())) {
            expect((table->getAccess() != nullptr) == (twin->object != nullptr), "a connected table is handed out");
        }
    }

    void chooseAnswer() {
        asked_.clear();
        model_.answered = false;
        model_.answer = {.status = number(-1, 1)};
        if (chance()) {
            model_.answer.actionId = data_.ConsumeIntegral<unsigned int>();
        }
        if (int const outcome = number(0, 2); outcome == 1) {
            model_.answer.outcome = number(INT_MIN, INT_MAX);
        } else if (outcome == 2) {
            auto& results = model_.answer.outcome.emplace<ActionAnswer::Results>(count());
            for (objbus::Argument& result : results) {
                result = {0, data_.ConsumeIntegralInRange<std::int8_t>(-1, 3), 0, text()};
            }
        }
    }

    void invoke(Slot& slot, ActionAccess& action) {
        chooseAnswer();
        arm(&slot);
        std::string const argument = text();
        unsigned int id = 7;
        unsigned int expected = id;
        agree(model_.invoke(slot.twin, expected), [&] { return action.invoke(id, {{0, 0, 0, argument}}); });
        expect(id == expected, "the television's identifier is written, or none");
        bool const arrived = asked_.size() == 1 && asked_[0].value == argument;
        expect(model_.answered ? arrived : asked_.empty(), "the argument arrives with the action");
    }

    void useIterator(TwinPtr const& twin, IteratorAccess& access) {
        if (model_.throws(twin, Call::disconnect)) {
            heal();  // The earlier table would stay registered, although it is gone.
        }
        auto* const iterator = access.getIterator();
        expect((iterator != nullptr) == (twin->rows != nullptr), "an iterator is there from create to destroy");
        if (iterator == nullptr || chance()) {
            return agree(model_.create(twin), [&] { return access.create(); });
        }
        auto const hear = [&](Strings const& line) { twin->rows->published ? twin->hear(line) : void(); };
        Rows const& all = twin->rows->rows;
        switch (number(0, 4)) {
            case 0:
                return agree(model_.destroy(twin), [&] { return access.destroy(); });
            case 1:
                hear({"count", std::to_string(all.size())});
                return iterator->requestTotalCount();
            case 2:
                hear(all.empty() ? Strings() : all.front());
                return iterator->readRow();
            case 3:
                hear(all.empty() ? Strings{"none"} : all.back());
                return iterator->readRowChunk(INT_MAX);
            default:
                hear({"commit", "0"});
                return iterator->commit();
        }
    }

    void makeFacade() {
        client_ = chance() ? clients_.data() : nullptr;
        facade_ = std::make_unique<NRXModelAccess>(client_);
        listening_.clear();
        for (auto const& [name, kind] : KEYS) {
            if (kind == TEXT || kind == TEXTS) {
                parts_[name] = std::make_shared<Twin>(Twin{kind, name});
                parts_[name]->hear = [this, list = name](Strings line) {
                    if (listening_[list] && client_ != nullptr) {
                        line[0] = list;  // Instead of the type.
                        client_->expected.push_back(line);
                    }
                };
            }
        }
    }

    void releaseFacade() {
        heal();
        facade_.reset();
        for (auto const& [name, twin] : std::exchange(parts_, {})) {
            release(twin);
        }
    }

    void requestStart() {
        chooseAnswer();
        auto const action =
            parts_.try_emplace(SOURCE_SWITCH, std::make_shared<Twin>(Twin{ACTION, SOURCE_SWITCH})).first;
        unsigned int id = UINT_MAX;  // What the action does not replace.
        int status = model_.connect(action->second, 100);
        status = status == STATUS_OK ? model_.invoke(action->second, id) : status;
        action->second->object ? action : parts_.erase(action);
        agreeIfThrows(status, [&] { facade_->requestStartNRXService(); });
        expect(asked_.size() == (model_.answered ? 3U : 0U), "a start request has three arguments");
        expect(asked_.empty() || asked_[1].value == "12", "a start request names its target");
    }

    void useFacade() {
        int const operation = number(0, 8);
        if (!facade_ || operation == 0) {
            return facade_ ? releaseFacade() : makeFacade();
        }
        auto const [name, usual] = data_.PickValueInArray(KEYS);
        TwinPtr const part = usual == TEXT || usual == TEXTS ? parts_[name] : nullptr;
        bool const on = chance();
        switch (operation) {
            case 1: {
                int const status = model_.connect(parts_[COMMAND], 1000);
                return agreeIfThrows(status == THROWS ? THROWS : model_.connect(parts_[EVENT], 1000),
                                     [&] { facade_->start(); });
            }
            case 2:
                listening_[COMMAND] = on;
                return on ? facade_->startCommandListener() : facade_->stopCommandListener();
            case 3:
                listening_[EVENT] = on;
                return on ? facade_->startEventListener() : facade_->stopEventListener();
            case 4:
                client_ = on ? &clients_[count() / 2] : nullptr;
                return facade_->setClient(client_);
            case 5: {
                Strings const list = texts();
                return agreeIfThrows(usual == TEXTS ? model_.write(part, list) : STATUS_ERR_UNKNOWN_KEY,
                                     [&, key = name] { facade_->setAccessValue(key, list); });
            }
            case 6: {
                Strings list = texts();
                Value expected = list;
                agreeIfThrows(usual == TEXTS ? model_.read(part, expected) : STATUS_ERR_UNKNOWN_KEY,
                              [&, key = name] { facade_->getAccessValue(key, list); });
                return expect(list == std::get<Strings>(expected), "a list is left as the television wrote it");
            }
            case 7: {
                Value expected = std::string();
                std::string fact;
                agreeIfThrows(model_.read(parts_[SOFTWARE_VERSION], expected),
                              [&] { fact = facade_->getSoftwareVersion(); });
                return expect(fact == std::get<std::string>(expected), "a fact is what the television says, or empty");
            }
            default:
                return requestStart();
        }
    }

    FuzzedDataProvider data_;
    simulator::Television tv_;
    Model model_;
    std::vector<objbus::Argument> asked_;  ///< Of the action that answered last.
    std::array<Slot, 4> slots_;
    std::array<Client, 2> clients_;
    std::unique_ptr<NRXModelAccess> facade_;
    std::map<std::string, TwinPtr> parts_;  ///< The facade's access objects.
    std::map<std::string, bool> listening_;
    Client* client_ = nullptr;
};

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    // What the library writes there of a lookup that was refused.
    static std::FILE* const quiet = std::freopen("/dev/null", "w", stdout);
    fuzz::expect(quiet != nullptr, "the standard output is silent");
    simulator::setLogLevel(size % 2 == 0 ? simulator::LogLevel::debug : simulator::LogLevel::off);
    simulator::setLogSink([](int /*severity*/, std::string const& /*line*/) {});
    fuzz::Script(data, size).run();
    return 0;
}
