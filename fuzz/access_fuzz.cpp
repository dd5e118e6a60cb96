// Calls operations of the facade and of access objects at random, and changes their television at random. After every
// step the statuses, the values, the notifications and the registrations must agree with a reference model.

#include <unistd.h>

#include <atomic>

#include "fuzz/access_television.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/log.h"
#include "simulator/table_iterator.h"

static std::atomic<int> sleeps = 0;

/// Replaces the C library's `usleep`, so that waits take no time.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds) {
    fuzz::expect(microseconds == 100'000, "a connect waits in steps of 100 milliseconds");
    ++sleeps;
    return 0;
}

namespace fuzz {
namespace {

using AccessPtr = std::unique_ptr<ValueAccessBase>;
template <typename Access>
AccessPtr makeAccess(char const* key, std::shared_ptr<RecordingHandler> const& handler) {
    if constexpr (std::is_same_v<Access, TableAccess>) {
        return std::make_unique<Access>(key);
    } else if constexpr (std::is_same_v<Access, IteratorAccess>) {
        return AccessPtr(new Access(key, handler, {}, {}, {}, {}));
    } else {
        return std::make_unique<Access>(key, handler);
    }
}
/// The functions that make an access object, indexed by `Kind`.
constexpr AccessPtr (*MAKERS[])(char const*, std::shared_ptr<RecordingHandler> const&) = {
    makeAccess<ValueAccessT<ObserverNumericInteger>>,
    makeAccess<ValueAccessT<ObserverNumericInt64>>,
    makeAccess<ValueAccessT<ObserverString>>,
    makeAccess<ValueAccessT<ObserverVectorNumericInteger>>,
    makeAccess<ValueAccessT<ObserverVectorString>>,
    makeAccess<ActionAccess>,
    makeAccess<TableAccess>,
    makeAccess<IteratorAccess>};

/// Holds at most one access object, and the `ReferenceAccess` that models this access object.
struct Slot : Recorder {
    std::shared_ptr<ReferenceAccess> reference;
    AccessPtr access;
};

class Script final : FuzzedTelevision {
public:
    Script(std::uint8_t const* data, std::size_t size) : FuzzedTelevision(data, size) {}
    ~Script() {
        for (Slot& slot : slots_) {
            slot.access ? release(slot) : void();
        }
        facade_ ? releaseFacade() : void();
        check();  // No registration remains, unless the television threw when an observer was disconnected.
    }

    void run() {
        for (int steps = 0; bytes.isLeft() && steps < 150; ++steps) {
            auto const useAnySlot = [this] { useSlot(slot()); };
            bytes.runOneOf([this] { changeAnyKey(); }, [this] { useFacade(); }, useAnySlot, useAnySlot);
            check();
        }
    }

private:
    Slot& slot() { return slots_[numberUpToThree()]; }

    void check() {
        television.waitUntilDelivered();
        television.waitUntilDelivered();  // Waits for notifications posted inside a notification.
        std::for_each(slots_.begin(), slots_.end(), [](Slot& each) { each.check(); });
        std::for_each(clients_.begin(), clients_.end(), [](RecordingClient& each) { each.check(); });
        expect(sleeps.exchange(0) == std::exchange(reference.waitsAfterFailedAttempts, 0),
               "a connect waits as long as its budget");
        for (auto const& [name, key] : reference.keys) {
            auto const held = television.get(name);
            expect(!held || *held == key.object->value, "the television holds what was written");
            auto const registered = std::count_if(reference.registrations.begin(), reference.registrations.end(),
                                                  [name = name](auto& each) { return each.first->key == name; });
            expect(television.registrations(name) == registered, "what is connected is registered, and nothing else");
        }
    }

    /// Changes the object or the faults of a key: often the key of an access object, with values of the kind that the
    /// access object expects.
    void changeAnyKey() {
        if (Slot const& user = slot(); bytes.nextBool() && user.access) {
            return applyRandomChange(user.reference->key, std::min(user.reference->kind, TABLE));
        }
        auto const& [key, usual] = bytes.pick(KEYS);
        applyRandomChange(key, usual);
    }

    void chooseReactions(void const* receiverWithoutReaction) override {
        Slot& receiver = slot();
        if (bytes.nextBool() && &receiver != receiverWithoutReaction) {
            receiver.onNextNotification = [this, &receiver, isWhole = bytes.nextBool()] {
                isWhole ? release(receiver) : end(receiver);
            };
        }
        // With `notifiesDuringConnect`, a connect waits until its notification is delivered. If the facade connected
        // inside another notification, the connect would wait forever, because one thread delivers all notifications.
        auto const isEarly = [](auto& each) { return each.second.notifiesDuringConnect; };
        if (bytes.nextBool() && std::none_of(reference.keys.begin(), reference.keys.end(), isEarly)) {
            clients_[0].onNextNotification = [this] { useFacade(); };
        }
    }

    /// Disconnects the access object. No queued notification is received afterwards.
    void end(Slot& slot) {
        clearFaults();
        if (auto* const iterator = dynamic_cast<IteratorAccess*>(slot.access.get())) {
            runBoth(*slot.reference, *iterator, [](auto& access) { return access.destroy(); });
        }
        while (slot.reference->hasRegistration()) {  // Repeats a disconnect that did not reach the television.
            runBoth(*slot.reference, *slot.access, [](auto& access) { return access.disconnect(); });
        }
        slot.expected.resize(slot.received.size());
    }

    /// Destroys the access object. Disconnects the access object first if its destructor would leave a registration.
    void release(Slot& slot) {
        clearFaults();
        bool const disconnectsItself = slot.reference->kind < ACTION && slot.reference->object != nullptr;
        if (!disconnectsItself || slot.reference->hasRegistration(slot.reference->object)) {
            end(slot);
        }
        slot.access.reset();
        slot.reference->disconnectForDestruction();
        slot.expected.resize(slot.received.size());
    }

    void useSlot(Slot& slot) {
        if (!slot.access) {
            auto const& [key, usual] = bytes.pick(KEYS);
            int const made = chooseKind(usual == TABLE ? bytes.number<int>(TABLE, ITERATOR) : usual);
            ReferenceObserver const observer{static_cast<Kind>(made), key,
                                             [&slot](Strings const& line) { slot.expected.push_back(line); }};
            slot.reference = std::make_shared<ReferenceAccess>(reference, observer);
            slot.access = MAKERS[made](key, std::make_shared<RecordingHandler>(slot));
            return;
        }
        Kind const usual = slot.reference->kind;
        auto const run = [&slot](auto const&... step) { runBoth(*slot.reference, *slot.access, step...); };
        auto const useKind = [&] { useSlotByKind(slot); };
        bytes.runOneOf(
            [&] { release(slot); },
            [&] { run([budgetMs = bytes.number(-1, 301)](auto& access) { return access.connect(budgetMs); }); },
            [&] { run([](auto& access) { return access.disconnect(); }); },
            [&] {
                run(makeValue(usual), [](auto& access, Value& out) {
                    return std::visit([&](auto& variable) { return access.getValue(variable); }, out);
                });
            },
            [&] {
                run([written = makeValue(usual)](auto& access) {
                    return std::visit([&](auto const& plain) { return access.setValue(plain); }, written);
                });
            },
            [&] { run([](auto& access) { return access.getType(); }); }, useKind, useKind);
    }

    void useSlotByKind(Slot& slot) {
        if (auto* const action = dynamic_cast<ActionAccess*>(slot.access.get())) {
            chooseInvokeResult();
            chooseReactions(&slot);
            Arguments const arguments{{0, 0, 0, makeText()}};
            runBoth(*slot.reference, *action, 7U,
                    [&](auto& access, unsigned int& id) { return access.invoke(id, arguments); });
            checkInvokeArguments();
        } else if (auto* const iterator = dynamic_cast<IteratorAccess*>(slot.access.get())) {
            useIterator(*slot.reference, *iterator);
        } else if (auto* const table = dynamic_cast<TableAccess*>(slot.access.get())) {
            expect((table->getAccess() != nullptr) == (slot.reference->object != nullptr),
                   "a connected table is there");
        }
    }

    void useIterator(ReferenceAccess& model, IteratorAccess& access) {
        if (model.throwsFromCall(Call::disconnect)) {
            // `create` destroys the earlier table access, or the new one if the object is no table. If the disconnect
            // of a destroyed access threw, the access would stay registered, and the television could notify it.
            clearFaults();
        }
        auto* const iterator = access.getIterator();
        expect((iterator != nullptr) == (model.iteratedTable != nullptr),
               "an iterator is there from create to destroy");
        if (iterator == nullptr || bytes.nextBool()) {
            return runBoth(model, access, [](auto& each) { return each.create(); });
        }
        bytes.runOneOf([&] { runBoth(model, access, [](auto& each) { return each.destroy(); }); },
                       [&] { runBoth(model, *iterator, [](auto& each) { each.requestTotalCount(); }); },
                       [&] { runBoth(model, *iterator, [](auto& each) { each.readRow(); }); },
                       [&] { runBoth(model, *iterator, [](auto& each) { each.readRowChunk(INT_MAX); }); },
                       [&] { runBoth(model, *iterator, [](auto& each) { each.commit(); }); });
    }

    void useFacade() {
        int const operation = bytes.number(0, 8);
        if (!facade_) {
            RecordingClient* const client = bytes.nextBool() ? clients_.data() : nullptr;
            facade_ = std::make_unique<orvane::NRXModelAccess>(client);
            referenceFacade_.emplace(reference, client);
            return;
        }
        if (operation == 0) {
            return releaseFacade();
        }
        char const* const key = bytes.pick(KEYS).first;
        bool const on = bytes.nextBool();
        auto const run = [this](auto const&... step) { runBoth(*referenceFacade_, *facade_, step...); };
        switch (operation) {
            case 1:
                return run([](auto& facade) { facade.start(); });
            case 2:
                return run([on](auto& facade) { on ? facade.startCommandListener() : facade.stopCommandListener(); });
            case 3:
                return run([on](auto& facade) { on ? facade.startEventListener() : facade.stopEventListener(); });
            case 4: {
                RecordingClient* const client = on ? &clients_[numberUpToThree() / 2] : nullptr;
                return run([client](auto& facade) { facade.setClient(client); });
            }
            case 5:
                return run([key, list = makeTexts()](auto& facade) { facade.setAccessValue(key, list); });
            case 6:
                return run(makeTexts(), [key](auto& facade, Strings& list) { facade.getAccessValue(key, list); });
            case 7:
                return run(std::string(), [](auto& facade, auto& version) { version = facade.getSoftwareVersion(); });
            default:
                chooseInvokeResult();
                run([](auto& facade) { facade.requestStartNRXService(); });
                return checkInvokeArguments();
        }
    }
    void releaseFacade() {
        clearFaults();
        facade_.reset();
        referenceFacade_->disconnectForDestruction();
        referenceFacade_.reset();
    }

    std::array<Slot, 4> slots_;
    std::array<RecordingClient, 2> clients_;
    std::unique_ptr<orvane::NRXModelAccess> facade_;
    std::optional<ReferenceNRXModelAccess> referenceFacade_;
};

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    // Discards standard output, where the library reports refused lookups.
    static std::FILE* const standardOutput = std::freopen("/dev/null", "w", stdout);
    fuzz::expect(standardOutput != nullptr, "the standard output is discarded");
    simulator::setLogLevel(size % 2 == 0 ? simulator::LogLevel::debug : simulator::LogLevel::off);
    simulator::setLogSink([](int /*severity*/, std::string const& /*line*/) {});
    fuzz::Script(data, size).run();
    return 0;
}
