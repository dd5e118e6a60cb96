// Makes each request to a television on the bus twice for each allocation of any library and thread of the television:
// this allocation fails alone, or with all later allocations. The next requests of all clients succeed.

#include <gmock/gmock.h>

#include <csignal>
#include <thread>

#include "bus/protocol/contract.h"
#include "bus/server/server.h"
#include "failing_allocations.h"
#include "stress/program.h"
#include "television/log.h"

namespace test::server_memory_test {

using namespace std::string_literals;
using Strings = std::vector<std::string>;

Strings const LONG{"a text that is too long for the string itself to hold"};
std::string const LIST_PATH = bus::pathOf("l");
std::string const TABLE_PATH = bus::pathOf("t");
constexpr auto& LIST_INTERFACE = television::PlainKindTraits<Strings>::INTERFACE;

/// A connection to the bus.
struct Client {
    template <typename... Values>
    int call(std::string const& path, char const* interface, char const* method, std::string* result = nullptr,
             char const* types = "", Values... values) {
        sd_bus_message* made = nullptr;
        int const status = sd_bus_call_method(bus.get(), bus::SERVICE, path.c_str(), interface, method, nullptr, &made,
                                              types, values...);
        bus::Message const reply(made);
        char const* text = nullptr;
        if (status >= 0 && result != nullptr &&
            sd_bus_message_read_basic(made, *sd_bus_message_get_signature(made, 1), &text) > 0) {
            *result = text;
        }
        return status;
    }
    int sync() { return call(bus::MODEL_PATH, bus::MODEL_INTERFACE, bus::SYNC_METHOD); }

    bus::Bus bus = bus::server::connectToBus("");
};

struct ServerMemory : ::testing::Test {
    ServerMemory() {
        tv.publish("l", LONG);
        tv.publishTable("t", {LONG});
        tv.publishAction("a", [](auto const&) {
            return simulator::ActionAnswer{0, 1, std::vector<objbus::Argument>{}};
        });
        server.requestName();
        thread = std::thread([this] {
            while (server.runOnceUnlessTerminated(true)) {
            }
        });
    }
    ~ServerMemory() override {
        ::kill(::getpid(), SIGTERM);
        thread.join();
    }
    /// Returns the D-Bus introspection of the iterators, as the other client reads it.
    std::string iterators() {
        std::string xml;
        EXPECT_GE(other.call(bus::ITERATOR_PATH, "org.freedesktop.DBus.Introspectable", "Introspect", &xml), 0);
        return xml;
    }

    ScopedMemory const memory;
    int const isBlocked = [] {  // Blocks the signals in all threads, because the server's loop receives them.
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGINT);
        return pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    }();
    bus::server::ServerLoop loop;
    simulator::Television tv;
    bus::server::Server server{tv, loop, bus::server::connectToBus(""), {}};
    std::thread thread;
    Client other;
};

using Request = std::pair<char const*, int (*)(ServerMemory& test, Client& client)>;
constexpr Request REQUESTS[] = {
    {"read",
     [](auto&, Client& client) {
         return client.call(LIST_PATH, bus::PROPERTIES_INTERFACE, "Get", nullptr, "ss", LIST_INTERFACE, "Value");
     }},
    {"read all",
     [](auto&, Client& client) {
         return client.call(LIST_PATH, bus::PROPERTIES_INTERFACE, "GetAll", nullptr, "s", LIST_INTERFACE);
     }},
    {"write",
     [](auto&, Client& client) {
         return client.call(LIST_PATH, bus::PROPERTIES_INTERFACE, "Set", nullptr, "ssv", LIST_INTERFACE, "Value", "as",
                            1, LONG[0].c_str());
     }},
    {"list",
     [](auto&, Client& client) { return client.call(bus::MODEL_PATH, bus::MANAGER_INTERFACE, "GetManagedObjects"); }},
    {"introspect",
     [](auto&, Client& client) {
         return client.call(bus::MODEL_PATH, "org.freedesktop.DBus.Introspectable", "Introspect");
     }},
    {"invoke",
     [](auto&, Client& client) {
         return client.call(bus::pathOf("a"), bus::ACTION_INTERFACE, "Invoke", nullptr, "a(nnns)", 1, 1, 2, 3,
                            LONG[0].c_str());
     }},
    {"iterate",
     [](auto&, Client& client) {
         std::string path;
         int const status =
             client.call(TABLE_PATH, bus::TABLE_INTERFACE, "CreateIterator", &path, "ia(iis)aia(ii)", 0, 0, 0, 0);
         int const read =
             status < 0 ? status : client.call(path, bus::ITERATOR_INTERFACE, "ReadRowChunk", nullptr, "i", 1);
         return read < 0 ? read
                         : client.call(TABLE_PATH, bus::TABLE_INTERFACE, "DestroyIterator", nullptr, "o", path.c_str());
     }},
    {"changes",
     [](ServerMemory& test, Client& client) {
         test.tv.set("l", LONG);
         test.tv.setRows("t", {LONG});
         test.tv.publish("late", LONG);
         test.tv.withdraw("late");
         test.tv.publish("late", LONG);
         return client.sync();
     }},
};

TEST_F(ServerMemory, ARequestFailsAlone) {
    stress::Watchdog watchdog(std::chrono::seconds(20));
    EXPECT_GE(other.sync(), 0);
    auto const getsThrough = [&](Request const& request, int allocations, bool lasts) {
        SCOPED_TRACE(request.first + (", allocation " + std::to_string(allocations)) + (lasts ? " and later" : ""));
        watchdog.kick();
        auto client = std::make_unique<Client>();
        bool isThrough = false;
        {
            ScopedAllocationFailure const failure(allocations, lasts);
            int status = -ETIMEDOUT;
            sd_bus_set_method_call_timeout(client->bus.get(), 50'000);  // The server may send no reply.
            while (status == -ETIMEDOUT && !ScopedAllocationFailure::hasHappened()) {
                status = request.second(*this, *client);
            }
            isThrough = !ScopedAllocationFailure::hasHappened();
            EXPECT_TRUE(!isThrough || status >= 0) << status;
        }
        sd_bus_set_method_call_timeout(client->bus.get(), 5'000'000);
        for (Client* const each : {client.get(), &other}) {
            for (auto const& [name, next] : REQUESTS) {
                EXPECT_GE(next(*this, *each), 0) << name;
            }
            EXPECT_GE(each->call(bus::pathOf("late"), bus::PROPERTIES_INTERFACE, "Get", nullptr, "ss", LIST_INTERFACE,
                                 "Value"),
                      0);
        }
        client.reset();
        stress::waitUntil([this] { return iterators().find("<node name=\"") == std::string::npos; });
        return isThrough;
    };
    for (Request const& request : REQUESTS) {
        auto const run = [&](int allocations, bool lasts) { return getsThrough(request, allocations, lasts); };
        EXPECT_GT(test::failEachAllocation(request.first, run), 0);
    }
}

}  // namespace test::server_memory_test
