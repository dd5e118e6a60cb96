// Kills a television on a bus, and the bus, while another process writes lists to it and clients hear them here:
// nrx_stress_bus [KILLS [BUS_KILLS [FACADES]]]

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "bus/bus_platform.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "stress/program.h"
#include "television/log.h"
#include "television/status.h"
#include "tests/child_process.h"

namespace {

using namespace std::chrono_literals;
using namespace stress;
using orvane::NRXModelAccess;
using orvane::model_keys::COMMAND;
using test::ChildProcess;
using Clock = std::chrono::steady_clock;

constexpr char MODEL[] = R"({"objects": [
    {"key": "torvi.sl2.vstr.videoplayer.nrx.command", "type": "string-list", "value": ["started"]},
    {"key": "torvi.sl2.vstr.videoplayer.nrx.event", "type": "string-list", "value": []},
    {"key": "torvi.sl2.action.source.switch", "type": "action"}]})";

/// Checks every list that comes.
struct Client final : orvane::NRXModelAccessClient {
    void onNRXCommandReceived(List const& list) override {
        int const number = numberOf(list);
        if (list == List{"started"}) {
            ++starts;
        } else if (number == 0) {
            fail("a torn list of " + std::to_string(list.size()) + ", first " + (list.empty() ? "" : list[0]));
        } else if (int const before = last.exchange(number); number <= before) {
            fail(std::to_string(number) + " comes again, or late");
        } else {
            hasMissed = hasMissed || (before != 0 && number != before + 1);
        }
        moment = isAwaited.exchange(false) ? Clock::now() : moment.load();
        ++lists;
    }
    void onNRXEventReceived(List const& /*list*/) override { fail("an event, which nobody sent"); }

    /// Returns when so many lists have come; the watch ends what waits in vain.
    void await(int target) const {
        while (lists < target || isAwaited) {
            std::this_thread::sleep_for(1ms);
        }
    }

    std::atomic<int> lists = 0;
    std::atomic<int> starts = 0;
    std::atomic<int> last = 0;
    std::atomic<bool> hasMissed = false;
    std::atomic<bool> isAwaited = false;
    std::atomic<Clock::time_point> moment{};  ///< When the list came that was awaited.
};

std::unique_ptr<NRXModelAccess> listening(Client& client) {
    auto access = std::make_unique<NRXModelAccess>(&client);
    access->startCommandListener();
    access->start();
    return access;
}

/// The other process: writes the lists of all numbers, through the same platform, until it is ended.
[[noreturn]] void write() {
    NRXModelAccess access;
    for (int number = 1;; ++number) {
        access.setAccessValue(COMMAND, listOf(number));
        std::this_thread::sleep_for(1ms);  // So that the others get on, too.
    }
}

enum Doing { CONNECTING, LISTENING, LEAVING };

/// How many paths' signals the bus passes on, whoever asked for them.
long registrations(std::string const& address) {
    ChildProcess busctl({"busctl", "--address=" + address, "call", "org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus.Debug.Stats", "GetAllMatchRules"});
    std::string const rules = busctl.readLine();
    constexpr std::string_view PATH = "/nrx/Television1/";
    long paths = 0;
    for (auto at = rules.find(PATH); at != std::string::npos; at = rules.find(PATH, at + 1)) {
        ++paths;
    }
    return paths;
}

/// The television and its bus.
struct Fire {
    /// Ends one, and returns how long it took from the return of the name to the client's next list.
    Clock::duration strike(bool withBus, Client& client) {
        ++turns;
        (withBus ? bus : television)->end(SIGKILL);
        test::awaitStatus(withBus ? television::STATUS_NO_BUS : television::STATUS_NO_TELEVISION);
        client.isAwaited = true;  // Of the television that is gone nothing comes any more.
        bus = withBus ? test::startBus(address) : std::move(bus);
        television = test::startTelevision(NRX_TELEVISION, address, MODEL);
        auto const back = Clock::now();
        client.await(client.lists + 1);
        ++turns;
        return client.moment.load() - back;
    }

    std::atomic<int> turns = 0;  ///< Odd while something is off, or not heard yet.

    std::string address{};
    std::unique_ptr<ChildProcess> bus = test::startBus(address);
    std::unique_ptr<ChildProcess> television = test::startTelevision(NRX_TELEVISION, address, MODEL);
};

void run(int kills, int busKills, int leastPassing) {
    Watchdog watchdog(90s);
    Fire fire;
    ::setenv("NRX_BUS_ADDRESS", fire.address.c_str(), 1);
    ChildProcess writer({"/proc/self/exe", "write"});
    Client client;
    Client fresh;
    auto access = listening(client);
    std::atomic<bool> ended = false;
    std::atomic<int> doing = CONNECTING;
    std::atomic<int> passed = 0;
    std::thread passing([&] {  // A facade after the other, each for a moment.
        for (; !ended; ++passed) {
            Client guest;
            int const turn = fire.turns;
            doing = CONNECTING;
            auto const passer = listening(guest);
            doing = LISTENING;
            std::this_thread::sleep_for(std::chrono::milliseconds(passed % 5));
            doing = LEAVING;
            if (guest.hasMissed && turn % 2 == 0 && turn == fire.turns) {
                fail("a list is lost between two that came");
            }
        }
    });
    int met[3]{};
    Clock::duration longest{};
    int const rounds = kills + busKills;
    for (int round = 0; round < rounds; ++round) {
        watchdog.beat();
        client.await(client.lists + 1 + round * 7 % 50);
        bool const withBus = (round + 1) * busKills / rounds != round * busKills / rounds;
        access->requestStartNRXService();
        int const moment = round % 3;
        while (doing != moment) {  // Another one of a facade's every time.
        }
        ++met[moment];
        longest = std::max(longest, fire.strike(withBus, client));
    }
    while (passed < leastPassing) {
        watchdog.beat();
        std::this_thread::sleep_for(1ms);
    }
    client.await(client.lists + 2);  // Of the television's start, and the writer's.
    ended = true;
    passing.join();
    writer.end(SIGKILL);
    for (List now; numberOf(now) != client.last;) {  // Not lost, though nothing comes after it.
        access->getAccessValue(COMMAND, now);
    }
    access.reset();
    test::awaitStatus(television::STATUS_OK);
    if (long const left = registrations(fire.address); left != 1) {  // The model's own, which hears of its objects.
        fail(std::to_string(left) + " registrations are left, expected 1");
    }
    access = listening(fresh);
    access->setAccessValue(COMMAND, listOf(client.last + 1));
    fresh.await(1);
    std::printf(
        "%d kills of the television and %d of the bus, %d while a facade connected and %d while one left; "
        "%d lists, %d of them a start's; %d facades; longest wait for the next list %.3f s\n",
        kills, busKills, met[CONNECTING], met[LEAVING], client.lists.load(), client.starts.load(), passed.load(),
        std::chrono::duration<double>(longest).count());
    if (client.starts > rounds + 1 || longest > 5s) {
        fail("a start's list came twice, or a list too late");
    }
}

}  // namespace

int main(int argc, char** argv) try {
    television::setLogLevel(television::LogLevel::off);
    if (argc == 2 && std::strcmp(argv[1], "write") == 0) {
        write();
    }
    ::setenv("NRX_LOG", "off", 1);
    run(numberAt(1, argc, argv, 20), numberAt(2, argc, argv, 2), numberAt(3, argc, argv, 0));
} catch (std::exception const& error) {
    fail(error.what());
}
