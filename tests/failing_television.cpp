// A television on the bus whose allocations fail on command. Executes the commands from standard input and replies to
// each in one line:
//   fail NUMBER LASTS    NUMBER allocations succeed and the next fails; if LASTS is 1, all later allocations fail, too
//   end                  ends the failures; the reply is 1 if an allocation has failed, else 0
//   change               changes, publishes and withdraws objects

#include <csignal>
#include <iostream>
#include <optional>

#include "bus/server/server.h"
#include "failing_allocations.h"

int main() {
    test::ScopedThreadAllocationSuccess const memory;
    sigset_t signals;  // Blocks the signals in all threads, because the server's loop receives them.
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    std::vector<std::string> const list{"a text that is too long for the string itself to hold"};
    bus::server::ServerLoop loop;
    simulator::Television tv;
    tv.publish("l", list);
    tv.publishTable("t", {list});
    tv.publishAction("a", [](auto const&) { return simulator::ActionAnswer{0, 1, std::vector<objbus::Argument>{}}; });
    bus::server::Server server{tv, loop, bus::server::connectToBus(""), {}};
    server.requestName();
    std::jthread const thread([&server] {
        while (server.runOnceUnlessTerminated(true)) {
        }
    });
    std::optional<test::ScopedAllocationFailure> failure;
    std::cout << "serving" << std::endl;
    for (std::string command; std::cin >> command;) {
        if (command == "fail") {
            int allocations = 0;
            bool lasts = false;
            std::cin >> allocations >> lasts;
            failure.emplace(allocations, lasts);
        } else if (command == "end") {
            failure.reset();
        } else {
            tv.set("l", list);
            tv.setRows("t", {list});
            tv.publish("late", list);
            tv.withdraw("late");
            tv.publish("late", list);
        }
        std::cout << test::ScopedAllocationFailure::hasHappened() << std::endl;
    }
    ::kill(::getpid(), SIGTERM);
}
