// Facades and access objects that come and go while the model changes as fast as it can:
// nrx_stress [SECONDS [CYCLES]] goes on for at least so long and so many lives, 60 and 0 by default.

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "simulator/log.h"
#include "simulator/table_iterator.h"
#include "simulator/television.h"
#include "stress/program.h"

namespace {

using namespace orvane::model_keys;
using namespace orvane::system::support;
using namespace stress;
using orvane::NRXModelAccess;

constexpr char TABLE[] = "stress.table";
constexpr char VALUE[] = "stress.value";

/// What happened, for the line at the end.
struct {
    std::atomic<int> lists = 0;
    std::atomic<int> switches = 0;
    std::atomic<int> answers = 0;
    std::atomic<int> notifications = 0;
} counts;

/// Who hears nothing any more, once it has left.
struct Leaver {
    void checkThatItIsThere() const { left ? fail("something is heard after the end of the listening") : void(); }

    std::atomic<bool> left = false;
};

/// The television, and the thread on which it changes.
class Model {
public:
    Model() {
        tv.publish(COMMAND, List{});
        tv.publish(EVENT, List{});
        tv.publish(VALUE, 0);
        tv.publishTable(TABLE, {});
        tv.publishAction(SOURCE_SWITCH, [](auto const& /*arguments*/) {
            return simulator::ActionAnswer{.outcome = simulator::ActionAnswer::Results{{0, 0, 0, "done"}}};
        });
        thread_ = std::jthread([this](std::stop_token const& stop) { change(stop); });
    }
    void stop() { thread_ = {}; }
    /// Comes to nothing, but for what a missing lock does.
    void useEverythingElse() {
        tv.setObjectListener([this](std::string const& key) {
            key != "stress.other" || tv.objects().size() < 5 ? fail(key + " has come or gone") : void();
        });
        if (constexpr int SOME = 300; ++uses_ < SOME) {  // What was withdrawn is kept.
            tv.publish("stress.other", 0);
            tv.withdraw("stress.other");
        }
        tv.setObjectListener({});
        tv.setRootLookup(simulator::RootLookup::published);
        tv.failConnects(VALUE, {.attempts = 0});
        tv.failReads(COMMAND, {});
        tv.failInvokes(SOURCE_SWITCH, 0);
        tv.throwFrom(TABLE, simulator::Call::none);
        tv.notifyEarly(VALUE, false);
        tv.refuseIterators(TABLE, false);
        auto const request = tv.iteratorRequest(TABLE).value_or(simulator::IteratorRequest{});
        if (tv.lookups() + tv.registrations(VALUE) < 0 || tv.counts(VALUE).reads != 0 || !tv.get(VALUE) ||
            !request.columns.empty()) {
            fail("the television tells what nobody did");
        }
    }

    simulator::Television tv;
    std::atomic<int> begun = 0;  ///< The number of the lists that are set now,
    std::atomic<int> done = 0;   ///< and of the last ones that are.

private:
    void change(std::stop_token const& stop) {
        constexpr int MOST_WAITING = 50;  // Or the lists would fill the memory.
        for (int number = 1; !stop.stop_requested(); ++number) {
            begun = number;
            tv.set(COMMAND, listOf(number));
            tv.set(EVENT, listOf(number));
            done = number;
            tv.set(VALUE, number);
            tv.setRows(TABLE, {listOf(number), listOf(number)});
            if (number % MOST_WAITING == 0) {
                tv.waitUntilDelivered();
                useEverythingElse();
            }
        }
    }

    std::atomic<int> uses_ = 0;
    std::jthread thread_;
};

/// Checks one kind of list: whole, in order, none left out.
struct Sequence {
    void check(List const& list, bool mayMiss) {
        int const number = numberOf(list);
        int const before = last.exchange(number);
        if (number <= before || (before != 0 && number != before + 1 && !mayMiss)) {
            fail("list " + std::to_string(before) + " is followed by list " + std::to_string(number) +
                 ", 0 is a torn one");
        }
        first = before == 0 ? number : first.load();
    }
    /// Of all lists from the one after `begun` to `done`, none is missing.
    void checkEnds(int begun, int done) const {
        if (first > begun + 1 || last < done) {
            fail("lists " + std::to_string(begun + 1) + " to " + std::to_string(done) + " were due, " +
                 std::to_string(first) + " to " + std::to_string(last) + " came");
        }
    }

    std::atomic<int> first = 0;
    std::atomic<int> last = 0;
};

/// A client that checks what it hears, and does something then.
struct Client final : orvane::NRXModelAccessClient, Leaver {
    void onNRXCommandReceived(List const& list) override { hear(list, commands); }
    void onNRXEventReceived(List const& list) override { hear(list, events); }
    void hear(List const& list, Sequence& sequence) {
        checkThatItIsThere();
        sequence.check(list, mayMiss);
        ++counts.lists;
        then();
    }

    Sequence commands;
    Sequence events;
    bool mayMiss = false;
    std::function<void()> then = [] {};
};

void startListeners(NRXModelAccess& access) {
    access.startCommandListener();
    access.startEventListener();
}

/// Hears every list from the start of the listeners to their stop.
void hearAll(Model& model, int round) {
    Client client;
    auto access = std::make_unique<NRXModelAccess>(&client);
    access->start();
    int const begun = model.begun;
    startListeners(*access);
    while (client.events.last <= begun + round % 4) {
        std::this_thread::yield();
    }
    round % 8 == 0 ? (access->requestStartNRXService(), model.useEverythingElse()) : void();
    int const done = model.done;
    model.tv.waitUntilDelivered();
    access->stopCommandListener();
    access->stopEventListener();
    client.commands.checkEnds(begun, done);
    client.events.checkEnds(begun, done);
    access.reset();
    client.left = true;
}

/// Goes while lists come.
void leaveEarly(Model& /*model*/, int round) {
    Client client;
    auto access = std::make_unique<NRXModelAccess>(&client);
    startListeners(*access);
    access->start();
    while (round % 3 != 0 && client.commands.last + client.events.last == 0) {
        std::this_thread::yield();
    }
    access.reset();
    client.left = true;
}

/// Is destroyed from inside its client's call.
void goInside(Model& /*model*/, int round) {
    Client client;
    auto access = std::make_unique<NRXModelAccess>(&client);
    std::atomic<bool> mayGo = false;
    std::binary_semaphore gone(0);
    client.then = [&, left = round % 5]() mutable {
        if (mayGo && left-- == 0) {
            access.reset();
            client.left = true;
            gone.release();
        }
    };
    startListeners(*access);
    access->start();
    mayGo = true;
    gone.acquire();
}

/// Ends, renews or destroys its access object from inside its own call.
struct Handler : ValueHandler {
    void handleNewValue(IValueObject const& /*value*/) override {
        ++counts.notifications;
        if (!access || !mayAct) {
            return;
        }
        int const left = --lives;
        if (left > 0) {
            access->disconnect();
            access->connect(1000);
        } else if (left == 0) {
            leavesWhole ? access->disconnect() : (access.reset(), 0);
            ended.release();
        } else {
            fail("a value comes after the disconnect");
        }
    }

    std::unique_ptr<ValueAccessT<objbus::ObserverNumericInteger>> access;
    std::atomic<bool> mayAct = false;
    bool leavesWhole = false;
    int lives = 0;
    std::binary_semaphore ended{0};
};

void actInside(Model& /*model*/, int round) {
    auto const handler = std::make_shared<Handler>();
    handler->access = std::make_unique<ValueAccessT<objbus::ObserverNumericInteger>>(VALUE, handler);
    handler->lives = 1 + round % 3;
    handler->leavesWhole = round % 2 == 0;
    if (handler->access->connect(1000) != STATUS_OK) {
        fail("the value does not connect");
    }
    handler->mayAct = true;
    handler->ended.acquire();
    handler->access.reset();
}

/// Hears the answers of its action until that is disconnected.
struct Answers : ActionHandler, Leaver {
    void handleResult(unsigned int /*id*/, ValueObject const& results) override {
        checkThatItIsThere();
        static_cast<List>(results) != List{"done"} ? fail("an answer is another one") : void();
        ++counts.answers;
    }
    void handleExecutionError(unsigned int /*id*/, int error) override { fail("error " + std::to_string(error)); }
};

void leaveWhileAnswered(Model& /*model*/, int round) {
    auto const handler = std::make_shared<Answers>();
    ActionAccess action(SOURCE_SWITCH, handler);
    unsigned int id = 0;
    if (action.connect(1000) != STATUS_OK || action.invoke(id, {}) != 0) {
        fail("the action cannot be invoked");
    }
    round % 2 == 0 ? std::this_thread::yield() : void();
    action.disconnect();
    handler->left = true;
}

/// Hears rows until its iterator is destroyed.
struct Reader : IteratorHandler, Leaver {
    void hear() const {
        checkThatItIsThere();
        ++counts.notifications;
    }
    void handleCommit(int /*status*/) override { hear(); }
    void handleTotalCount(int /*count*/) override { hear(); }
    void handleSeekToRow(int /*row*/) override { hear(); }
    void handleSeekToContent(int /*row*/) override { hear(); }
    void handleCursorPosition(int /*row*/) override { hear(); }
    void handleReadRow(List const& row) override {
        hear();
        row.empty() || numberOf(row) != 0 ? void() : fail("a torn row");
    }
    void handleReadRowChunk(std::vector<List const*> const& rows) override {
        hear();
        for (List const* const row : rows) {
            *row == *rows[0] ? void() : fail("the rows of two changes");
        }
        checkThatItIsThere();  // Its end waits for the call.
    }
    void handleIteratorReady(int /*status*/) override { hear(); }
    void handleUpdate(int /*update*/) override { hear(); }
};

void iterate(Model& /*model*/, int round) {
    auto const handler = std::make_shared<Reader>();
    IteratorAccess rows(TABLE, handler, {}, {}, {}, {});
    if (rows.create() != STATUS_OK || rows.getIterator() == nullptr) {
        fail("there is no iterator");
    }
    rows.getIterator()->seekToRow(0);
    rows.getIterator()->readRow();
    rows.getIterator()->readRowChunk(2);
    round % 2 == 0 ? std::this_thread::yield() : void();
    rows.destroy();
    handler->left = true;
}

/// Switches the listeners and the client of a facade that another thread has started.
void keepSwitching(NRXModelAccess& access, std::array<Client*, 2> const& clients, std::stop_token const& stop) {
    for (int round = 0; !stop.stop_requested(); ++round, ++counts.switches) {
        access.setClient(round % 3 == 2 ? nullptr : clients.at(static_cast<std::size_t>(round % 3)));
        round % 5 == 4 ? access.stopCommandListener() : access.startCommandListener();
        round % 7 == 6 ? access.stopEventListener() : access.startEventListener();
        std::this_thread::yield();
    }
}

struct Life {
    char const* name;
    void (*live)(Model& model, int round);
    std::atomic<int> cycles = 0;
};

void run(std::chrono::seconds time, int leastCycles) {
    Watchdog watchdog(std::chrono::seconds(60));
    Model model;
    std::array<Life, 6> lives{{{"heard all lists", hearAll},
                               {"left early", leaveEarly},
                               {"went inside a call", goInside},
                               {"acted inside a call", actInside},
                               {"left an action", leaveWhileAnswered},
                               {"iterated", iterate}}};
    std::atomic<int> cycles = 0;
    auto const end = std::chrono::steady_clock::now() + time;
    auto const live = [&](std::size_t place) {
        for (int round = 0; cycles < leastCycles || std::chrono::steady_clock::now() < end; ++round) {
            Life& life = lives.at(place++ % lives.size());
            life.live(model, round);
            ++life.cycles;
            ++cycles;
            watchdog.beat();
        }
    };
    {
        Client one;
        Client other;
        one.mayMiss = other.mayMiss = true;
        NRXModelAccess switched(&one);
        switched.start();
        std::jthread const switching([&](std::stop_token const& stop) {
            keepSwitching(switched, {&one, &other}, stop);
        });
        std::jthread const companion(live, 0);
        live(3);
    }
    model.stop();
    model.tv.waitUntilDelivered();
    for (char const* const key : {COMMAND, EVENT, SOURCE_SWITCH, TABLE, VALUE}) {
        if (int const left = model.tv.registrations(key); left != 0) {
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
