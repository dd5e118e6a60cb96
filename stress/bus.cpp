// Kills a television on a bus, and the bus, while another process writes lists and this process's clients receive the
// lists: nrx_stress_bus [KILLS [BUS_KILLS [FACADES]]]
// Or ten threads connect, call, are notified and disconnect at the same time: nrx_stress_bus threads [SECONDS]

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "stress/program.h"
#include "television/log.h"
#include "television/root_reference.h"
#include "television/status.h"
#include "television/table_iterator.h"
#include "tests/child_process.h"

namespace {

using namespace std::chrono_literals;
using namespace stress;
using orvane::NRXModelAccess;
using orvane::model_keys::COMMAND;
using test::ChildProcess;
using Clock = std::chrono::steady_clock;

/// The phases of a facade's life.
enum Phase { CONNECTING, LISTENING, LEAVING };

constexpr char MODEL[] = R"({"objects": [
    {"key": "torvi.sl2.vstr.videoplayer.nrx.command", "type": "string-list", "value": ["started"]},
    {"key": "torvi.sl2.vstr.videoplayer.nrx.event", "type": "string-list", "value": []},
    {"key": "table", "type": "table", "value": [["a"]]},
    {"key": "torvi.sl2.action.source.switch", "type": "action"}]})";

struct Client final : orvane::NRXModelAccessClient {
    void onNRXCommandReceived(List const& list) override {
        if (list == List{"started"}) {
            ++starts;
        } else if (sequence.recordAndDetectGap(list)) {
            hasMissed = true;
        }
        awaitedTime = isAwaited.exchange(false) ? Clock::now() : awaitedTime.load();
        ++lists;
    }
    void onNRXEventReceived(List const& /*list*/) override { fail("an event, which nobody sent"); }

    /// Returns when at least `count` lists have arrived and `isAwaited` is false. The watchdog ends an endless wait.
    void waitForLists(int count) const {
        while (lists < count || isAwaited) {
            std::this_thread::sleep_for(1ms);
        }
    }

    std::atomic<int> lists = 0;
    std::atomic<int> starts = 0;
    ReceivedListChecker sequence{};
    std::atomic<bool> hasMissed = false;
    std::atomic<bool> isAwaited = false;           ///< The next list makes this false.
    std::atomic<Clock::time_point> awaitedTime{};  ///< When the awaited list arrived.
};

std::unique_ptr<NRXModelAccess> makeListeningFacade(Client& client) {
    auto access = std::make_unique<NRXModelAccess>(&client);
    access->startCommandListener();
    access->start();
    return access;
}

/// Runs in the other process: writes a list for each number through the platform library until the process is killed.
[[noreturn]] void write() {
    NRXModelAccess access;
    for (int number = 1;; ++number) {
        access.setAccessValue(COMMAND, encodeList(number));
        std::this_thread::sleep_for(1ms);  // Leaves time to the other processes.
    }
}

/// The television and its bus, which are killed and replaced.
struct Processes {
    /// Kills and replaces the television. If `withBus`, kills the bus and replaces the bus and the television. Returns
    /// how long after the restart the client receives a list.
    Clock::duration replace(bool withBus, Client& client) {
        ++changes;
        (withBus ? bus : television)->end(SIGKILL);
        test::waitForTelevisionStatus(withBus ? television::STATUS_NO_BUS : television::STATUS_NO_TELEVISION);
        client.isAwaited = true;  // No television can send a list now.
        bus = withBus ? test::startBus(address) : std::move(bus);
        television = test::startTelevision(NRX_TELEVISION, address, MODEL);
        auto const back = Clock::now();
        client.waitForLists(client.lists + 1);
        ++changes;
        return client.awaitedTime.load() - back;
    }

    std::atomic<int> changes = 0;  ///< Odd while `replace` runs, otherwise even.
    std::string address{};
    std::unique_ptr<ChildProcess> bus = test::startBus(address);
    std::unique_ptr<ChildProcess> television = test::startTelevision(NRX_TELEVISION, address, MODEL);
};

void run(int kills, int busKills, int leastFacades) {
    Watchdog watchdog(90s);
    Processes processes;
    ::setenv("NRX_BUS_ADDRESS", processes.address.c_str(), 1);
    ChildProcess writer({"/proc/self/exe", "write"});
    Client client;
    Client lateClient;
    auto access = makeListeningFacade(client);
    std::atomic<bool> isStopping = false;
    std::atomic<int> phase = CONNECTING;
    std::atomic<int> facades = 0;
    std::thread shortLived([&] {  // Creates and destroys one facade after the other.
        for (; !isStopping; ++facades) {
            Client guest;
            int const changes = processes.changes;
            phase = CONNECTING;
            auto const guestAccess = makeListeningFacade(guest);
            phase = LISTENING;
            std::this_thread::sleep_for(std::chrono::milliseconds(facades % 5));
            phase = LEAVING;
            bool const isUndisturbed = changes % 2 == 0 && changes == processes.changes;
            expect(!guest.hasMissed || !isUndisturbed, "no list is lost between two that came");
        }
    });
    int killsInPhase[3]{};
    Clock::duration longest{};
    int const rounds = kills + busKills;
    for (int round = 0; round < rounds; ++round) {
        watchdog.kick();
        client.waitForLists(client.lists + 1 + round * 7 % 50);
        bool const withBus = (round + 1) * busKills / rounds != round * busKills / rounds;
        access->requestStartNRXService();
        while (phase != round % 3) {  // Does not sleep, so that the kill comes at the start of the phase.
        }
        ++killsInPhase[round % 3];
        longest = std::max(longest, processes.replace(withBus, client));
    }
    while (facades < leastFacades) {
        watchdog.kick();
        std::this_thread::sleep_for(1ms);
    }
    // The television's start causes at most one of the next two lists, so the writer sends at least one of the two.
    client.waitForLists(client.lists + 2);
    isStopping = true;
    shortLived.join();
    writer.end(SIGKILL);
    for (List now; decodeList(now) != client.sequence.lastNumber;) {  // The client must receive the last list.
        access->getAccessValue(COMMAND, now);
    }
    access.reset();
    test::waitForTelevisionStatus(television::STATUS_OK);
    access = makeListeningFacade(lateClient);
    access->setAccessValue(COMMAND, encodeList(client.sequence.lastNumber + 1));
    lateClient.waitForLists(1);
    std::printf(
        "%d kills of the television and %d of the bus, %d while a facade connected and %d while one left; "
        "%d lists, %d of them a start's; %d facades; longest wait for the next list %.3f s\n",
        kills, busKills, killsInPhase[CONNECTING], killsInPhase[LEAVING], client.lists.load(), client.starts.load(),
        facades.load(), std::chrono::duration<double>(longest).count());
    expect(client.starts <= rounds + 1 && longest <= 5s, "no start's list comes twice, and no list too late");
}

/// An observer that is registered for a short time. Checks every list that it receives. Actions do not notify it.
struct ShortObserver final : objbus::ObserverVectorString {
    explicit ShortObserver(std::atomic<int>& all) : lists(all) {}
    void notifyStringVector(List const& list) override {
        expect(!hasLeft, "nobody is notified after leaving");
        expect(list.empty() || decodeList(list) != 0, "lists are whole");
        ++lists;
    }

    std::atomic<int>& lists;
    std::atomic<bool> hasLeft = false;
};

struct ShortTableObserver final : objbus::ObserverTable {
    explicit ShortTableObserver(std::atomic<int>& all) : updates(all) {}
    void notifyUpdate(int /*update*/) override {
        expect(!hasLeft, "nobody is notified after leaving");
        ++updates;
    }

    std::atomic<int>& updates;
    std::atomic<bool> hasLeft = false;
};

/// Connects the observer to the key, calls `use` with the object, and disconnects the observer.
template <typename Object>
bool useObject(objbus::RootInterface& root, std::string const& key, objbus::Observer* observer,
               void (*use)(Object& object, int number), int number) {
    objbus::Object* object = nullptr;
    if (root.connectObject(key, observer, object) != 0) {
        return false;  // The television is gone, or the attempt has timed out.
    }
    use(static_cast<Object&>(*object), number);
    expect(root.disconnectObject(key, observer, object) == 0, "each registration ends once");
    return true;
}

void callList(objbus::ObjectVectorString& object, int number) {
    List list = encodeList(number);
    std::map<int, std::string> elements;
    for (std::string const& element : list) {
        elements.emplace(static_cast<int>(elements.size()), element);
    }
    object.setValue(elements);
    expect(object.getValue(list) != 0 || list.empty() || decodeList(list) != 0, "lists are read whole");
}

void callAction(objbus::ObjectAction& object, int number) {
    unsigned int id = 0;
    object.invoke(id, {{1, 0, 0, std::to_string(number)}});
}

void callTable(objbus::ObjectTable& object, int number) {
    if (auto* const iterator = object.createIterator({}, nullptr, {}, {}, {})) {
        iterator->seekToRow(number);
        iterator->readRow();
        expect(object.destroyIterator(iterator) == 0, "each iterator is destroyed once");
    }
}

/// Ten threads use the root interface of one process, while the table changes and the television is killed every
/// second.
void runThreads(std::chrono::seconds duration) {
    Watchdog watchdog(90s);
    Processes processes;
    ::setenv("NRX_BUS_ADDRESS", processes.address.c_str(), 1);
    boost::shared_ptr<frame::Interface> reference;
    frame::Process::getInstance().getInterfaceReference(reference, television::ROOT_INTERFACE_NAME);
    auto& root = *static_cast<objbus::RootInterface*>(reference->getObject());
    std::atomic<bool> isStopping = false;
    std::atomic<int> lists = 0;
    std::atomic<int> updates = 0;
    std::atomic<int> uses[3]{};
    std::vector<std::thread> threads;
    constexpr int THREADS = 10;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            for (int number = thread + 1; !isStopping; number += THREADS) {
                ShortObserver observer(lists);
                ShortTableObserver tableObserver(updates);
                uses[0] += useObject(root, orvane::model_keys::EVENT, &observer, callList, number) ? 1 : 0;
                uses[1] += useObject(root, orvane::model_keys::SOURCE_SWITCH, &observer, callAction, number) ? 1 : 0;
                uses[2] += useObject(root, "table", &tableObserver, callTable, number) ? 1 : 0;
                observer.hasLeft = tableObserver.hasLeft = true;
            }
        });
    }
    for (auto const end = Clock::now() + duration; Clock::now() < end;) {
        for (int changes = 0; changes < 100; ++changes) {
            processes.television->write("tv set table b\n");
            std::this_thread::sleep_for(10ms);
        }
        watchdog.kick();
        int const before = lists;
        processes.television->end(SIGKILL);
        processes.television = test::startTelevision(NRX_TELEVISION, processes.address, MODEL);
        waitUntil([&] { return lists > before; });
    }
    isStopping = true;
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    std::printf(
        "ten threads used a list %d times, an action %d and a table %d times, and received %d lists and %d updates\n",
        uses[0].load(), uses[1].load(), uses[2].load(), lists.load(), updates.load());
    expect(uses[0] != 0 && uses[1] != 0 && uses[2] != 0 && updates != 0, "each kind of object is used");
}

}  // namespace

int main(int argc, char** argv) try {
    television::setLogLevel(television::LogLevel::off);
    if (argc == 2 && std::string(argv[1]) == "write") {
        write();
    }
    ::setenv("NRX_LOG", "off", 1);
    if (argc >= 2 && std::string(argv[1]) == "threads") {
        runThreads(std::chrono::seconds(numberAt(2, argc, argv, 10)));
        return 0;
    }
    run(numberAt(1, argc, argv, 20), numberAt(2, argc, argv, 2), numberAt(3, argc, argv, 0));
} catch (std::exception const& error) {
    fail(error.what());
}
