// Creates and destroys facades and access objects while the television changes as fast as possible:
// nrx_stress [SECONDS [CYCLES]] runs for at least SECONDS seconds and CYCLES life cycles, 60 and 0 by default.

#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <semaphore>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/log.h"
#include "simulator/table_iterator.h"
#include "stress/changing_television.h"
#include "stress/client_lives.h"

namespace {

using namespace orvane::system::support;
using namespace stress;
using orvane::NRXModelAccess;
using IntegerAccess = ValueAccessT<objbus::ObserverNumericInteger>;

/// Counts the events of all facades and access objects for the last line of the output.
struct {
    std::atomic<int> lists = 0;
    std::atomic<int> switches = 0;
    std::atomic<int> answers = 0;
    std::atomic<int> notifications = 0;
} counts;

/// A receiver that must not be called after `hasLeft` is set.
struct Receiver {
    void checkPresence() const { expect(!hasLeft, "nothing is received after the end"); }

    std::atomic<bool> hasLeft = false;
};

/// Checks each received list, and then calls `react`.
struct Client final : orvane::NRXModelAccessClient, Receiver {
    void onNRXCommandReceived(List const& list) override { receive(list, commands); }
    void onNRXEventReceived(List const& list) override { receive(list, events); }
    void receive(List const& list, ReceivedListChecker& sequence) {
        checkPresence();
        expect(!sequence.recordAndDetectGap(list) || mayMiss, "no list is missing between two others");
        ++counts.lists;
        react();
    }

    ReceivedListChecker commands;
    ReceivedListChecker events;
    bool mayMiss = false;
    std::function<void()> react = [] {};
};

std::unique_ptr<NRXModelAccess> startWithListeners(Client& client) {
    auto access = std::make_unique<NRXModelAccess>(&client);
    access->startCommandListener();
    access->startEventListener();
    access->start();
    return access;
}

/// Checks that a client receives every list from the start to the stop of the listeners.
void receiveAll(ChangingTelevision& television, int round) {
    Client client;
    auto access = std::make_unique<NRXModelAccess>(&client);
    access->start();
    access->startCommandListener();
    access->startEventListener();
    int const started = television.numberInListsBeingSet;
    waitUntil([&] { return client.events.lastNumber > started + round % 4; });
    if (round % 8 == 0) {
        access->requestStartNRXService();
        television.callOperationsUnusedElsewhere();
    }
    int const finished = television.numberInListsSetLast;
    television.waitUntilDelivered();
    access->stopCommandListener();
    access->stopEventListener();
    for (ReceivedListChecker const& lists : {std::cref(client.commands), std::cref(client.events)}) {
        if (lists.firstNumber > started + 1 || lists.lastNumber < finished) {
            fail("lists " + std::to_string(started + 1) + " to " + std::to_string(finished) + " were due, " +
                 std::to_string(lists.firstNumber) + " to " + std::to_string(lists.lastNumber) + " came");
        }
    }
    access.reset();
    client.hasLeft = true;
}

/// Destroys a facade while lists arrive.
void leaveEarly(ChangingTelevision& /*television*/, int round) {
    Client client;
    auto access = startWithListeners(client);
    waitUntil([&] { return round % 3 == 0 || client.commands.lastNumber + client.events.lastNumber != 0; });
    access.reset();
    client.hasLeft = true;
}

/// Destroys a facade in a function of the facade's client.
void leaveInsideCall(ChangingTelevision& /*television*/, int round) {
    Client client;
    std::unique_ptr<NRXModelAccess> access;
    std::atomic<bool> mayLeave = false;
    std::binary_semaphore destroyed(0);
    client.react = [&, left = round % 5]() mutable {
        if (mayLeave && left-- == 0) {
            access.reset();
            client.hasLeft = true;
            destroyed.release();
        }
    };
    access = startWithListeners(client);
    mayLeave = true;
    destroyed.acquire();
}

/// Disconnects, reconnects or destroys the access object inside a call of this handler.
struct ActingHandler : ValueHandler {
    void handleNewValue(IValueObject const& /*value*/) override {
        ++counts.notifications;
        if (!access || !mayAct) {
            return;
        }
        int const left = --connections;
        expect(left >= 0, "no value comes after the disconnect");
        if (left > 0) {
            access->disconnect();
            access->connect(1000);
        } else {
            onlyDisconnects ? access->disconnect() : (access.reset(), STATUS_OK);
            ended.release();
        }
    }

    std::unique_ptr<IntegerAccess> access;
    std::atomic<bool> mayAct = false;
    bool onlyDisconnects = false;
    int connections = 0;
    std::binary_semaphore ended{0};
};

void actInsideCall(ChangingTelevision& /*television*/, int round) {
    auto const handler = std::make_shared<ActingHandler>();
    handler->access = std::make_unique<IntegerAccess>(VALUE, handler);
    handler->connections = 1 + round % 3;
    handler->onlyDisconnects = round % 2 == 0;
    expect(handler->access->connect(1000) == STATUS_OK, "the value connects");
    handler->mayAct = true;
    handler->ended.acquire();
    handler->access.reset();
}

/// Receives the answers of an action until the action is disconnected.
struct AnswerHandler : ActionHandler, Receiver {
    void handleResult(unsigned int /*id*/, ValueObject const& results) override {
        checkPresence();
        expect(!static_cast<List>(results).empty(), "the answer has the texts of a call");
        ++counts.answers;
    }
    void handleExecutionError(unsigned int /*id*/, int error) override { fail("error " + std::to_string(error)); }
};

void leaveWhileAnswered(ChangingTelevision& /*television*/, int round) {
    auto const handler = std::make_shared<AnswerHandler>();
    ActionAccess action(SOURCE_SWITCH, handler);
    unsigned int id = 0;
    expect(action.connect(1000) == STATUS_OK && action.invoke(id, {{0, 0, 0, "raw"}}) == STATUS_OK,
           "the action is invoked");
    round % 2 == 0 ? std::this_thread::yield() : void();
    action.disconnect();
    handler->hasLeft = true;
}

/// Receives rows until the iterator is destroyed.
struct RowHandler : IteratorHandler, Receiver {
    void receive() const {
        checkPresence();
        ++counts.notifications;
    }
    void handleCommit(int /*status*/) override { receive(); }
    void handleTotalCount(int /*count*/) override { receive(); }
    void handleSeekToRow(int /*row*/) override { receive(); }
    void handleSeekToContent(int /*row*/) override { receive(); }
    void handleCursorPosition(int /*row*/) override { receive(); }
    void handleReadRow(List const& row) override {
        receive();
        expect(row.empty() || decodeList(row) != 0, "a row is whole");
    }
    void handleReadRowChunk(std::vector<List const*> const& rows) override {
        receive();
        for (List const* const row : rows) {
            expect(*row == *rows[0], "the rows are of one change");
        }
        checkPresence();  // `destroy` waits for this call.
    }
    void handleIteratorReady(int /*status*/) override { receive(); }
    void handleUpdate(int /*update*/) override { receive(); }
};

void iterate(ChangingTelevision& /*television*/, int round) {
    auto const handler = std::make_shared<RowHandler>();
    IteratorAccess rows(TABLE, handler, {}, {}, {}, {});
    expect(rows.create() == STATUS_OK && rows.getIterator() != nullptr, "there is an iterator");
    rows.getIterator()->seekToRow(0);
    rows.getIterator()->readRow();
    rows.getIterator()->readRowChunk(2);
    round % 2 == 0 ? std::this_thread::yield() : void();
    rows.destroy();
    handler->hasLeft = true;
}

/// Starts a facade. Runs `action` while a new thread switches the listeners and the client of the facade.
template <typename Action>
void runWhileSwitching(Action const& action) {
    std::array<Client, 2> clients;
    clients[0].mayMiss = clients[1].mayMiss = true;
    NRXModelAccess access(clients.data());
    access.start();
    std::jthread const switching([&](std::stop_token const& stop) {
        for (int round = 0; !stop.stop_requested(); ++round, ++counts.switches) {
            access.setClient(round % 3 == 2 ? nullptr : &clients[static_cast<std::size_t>(round % 3)]);
            round % 5 == 4 ? access.stopCommandListener() : access.startCommandListener();
            round % 7 == 6 ? access.stopEventListener() : access.startEventListener();
            std::this_thread::yield();
        }
    });
    action();
}

/// Creates, uses and destroys an object of the library. `round` selects variants.
struct Life {
    char const* name;
    void (*live)(ChangingTelevision& television, int round);
    std::atomic<int> cycles = 0;
};

void run(std::chrono::seconds time, int leastCycles) {
    Watchdog watchdog(std::chrono::seconds(60));
    ChangingTelevision television;
    std::array<Life, 9> lives{{{"received all lists", receiveAll},
                               {"left early", leaveEarly},
                               {"left inside a call", leaveInsideCall},
                               {"acted inside a call", actInsideCall},
                               {"left an action", leaveWhileAnswered},
                               {"iterated", iterate},
                               {"watched a property", watchProperty},
                               {"called an action", callAction},
                               {"read a table", readTable}}};
    std::atomic<int> cycles = 0;
    auto const end = std::chrono::steady_clock::now() + time;
    auto const liveInTurn = [&](std::size_t next) {
        for (int round = 0; cycles < leastCycles || std::chrono::steady_clock::now() < end; ++round) {
            Life& life = lives.at(next++ % lives.size());
            life.live(television, round);
            ++life.cycles;
            ++cycles;
            watchdog.kick();
        }
    };
    runWhileSwitching([&] {
        std::jthread const companion(liveInTurn, 0);
        liveInTurn(3);
    });
    television.stop();
    television.waitUntilDelivered();
    for (char const* const key : {COMMAND, EVENT, SOURCE_SWITCH, TABLE, VALUE}) {
        if (int const left = television.registrations(key); left != 0) {
            fail(std::to_string(left) + " registrations are left of " + key);
        }
    }
    std::printf("%d life cycles:", cycles.load());
    for (Life const& life : lives) {
        std::printf(" %d %s,", life.cycles.load(), life.name);
    }
    std::printf(" none torn, late, lost or out of order of %d lists; %d values and rows, %d answers, %d switches\n",
                counts.lists.load(), counts.notifications.load(), counts.answers.load(), counts.switches.load());
}

}  // namespace

int main(int argc, char** argv) {
    simulator::setLogLevel(simulator::LogLevel::off);
    run(std::chrono::seconds(numberAt(1, argc, argv, 60)), numberAt(2, argc, argv, 0));
}
