// During each operation of a client on the bus, each allocation of any library fails twice: in one run only this
// allocation fails, in another run this allocation and all later allocations fail. After the failure, the clients
// receive replies and signals as before.

#include <dlfcn.h>
#include <sys/socket.h>

#include "failing_allocations.h"
#include "hostile_bus.h"
#include "television/catch_to_status.h"
#include "television/root_reference.h"

static std::atomic<int> clientSocket = -1;  ///< The socket of the platform's newest connection to the bus.
static thread_local bool isTestThread = false;

/// Replaces the C library's `connect` in the whole process.
extern "C" __attribute__((visibility("default"))) int connect(int socket, sockaddr const* address, socklen_t size) {
    static auto const real = reinterpret_cast<decltype(&connect)>(::dlsym(RTLD_NEXT, __func__));
    clientSocket = isTestThread ? clientSocket.load() : socket;
    return real(socket, address, size);
}

namespace test::bus_memory_test {

Strings const PRESENT{"x", "y"};  // The list in the valid signal.
Strings const MISSED{"a list that the clients miss while they are not on the bus"};

std::atomic<television::Presence> lastPresence;
void recordPresence(television::Presence presence) {
    // Runs on the delivery thread. The allocations of the test's observers on this thread must not fail.
    static thread_local ScopedThreadAllocationSuccess const ofDeliveryThread;
    lastPresence = presence;
}

/// The first use of the platform.
int useFirst() {
    return television::catchToStatus([] {
        boost::shared_ptr<frame::Interface> root;
        int const status = frame::Process::getInstance().getInterfaceReference(root, television::ROOT_INTERFACE_NAME);
        return status != 0 ? status : bus::waitUntilDelivered();
    });
}

struct BusMemory : HostileBus {
    BusMemory() { isTestThread = true; }

    void SetUp() override {
        int failed = 0;
        for (int status = television::STATUS_NO_RESOURCES; status == television::STATUS_NO_RESOURCES; ++failed) {
            ScopedAllocationFailure const failure(failed, false);
            status = std::async(std::launch::async, useFirst).get();
        }
        std::printf("first use: %d allocations\n", failed - 1);
        HostileBus::SetUp();
        EXPECT_EQ(bus::setPresenceListener(recordPresence), 0);
        answersByMethod["l Value"] = replyWithList(PRESENT);
        answersByMethod["CreateIterator"] = [this](sd_bus_message* call) {
            ++iteratorCounts[clientName];
            return replyWith("o", ITERATOR_PATH)(call);
        };
        answersByMethod["DestroyIterator"] = [this](sd_bus_message* call) {
            --iteratorCounts[clientName];
            return withholdReply(call);
        };
        EXPECT_EQ(clients->table->destroyIterator(clients->iterator), 0);
        received();
        iteratorCounts.clear();
        clients->iterator = serveDuring([this] { return clients->createIterator(); });
    }

    /// Runs a client's operation. Repeats an attempt that timed out although no allocation failed, because the machine
    /// may be busy.
    int run(int (*use)(Clients& clients)) {
        int status = television::STATUS_NO_ANSWER;
        while (status == television::STATUS_NO_ANSWER && !ScopedAllocationFailure::hasHappened()) {
            status = serveDuring([&] { return television::catchToStatus([&] { return use(*clients); }); });
        }
        return status;
    }
    /// Changes the list without a signal, so that the clients miss the change.
    void change() { answersByMethod["l Value"] = replyWithList(missed = MISSED); }

    /// If the clients have missed a change, expects that the list's client receives the new list. Then expects that all
    /// clients work as before.
    void restore() {
        serveUntilDone(bus::waitUntilDelivered);
        for (bool isMissing = !std::exchange(missed, {}).empty(); isMissing;) {
            EXPECT_EQ(serveDuring(bus::waitUntilDelivered), 0);
            for (Strings const& list : clients->list.take()) {
                isMissing = isMissing && list != MISSED;
            }
        }
        answersByMethod["l Value"] = replyWithList(PRESENT);
        EXPECT_EQ(clients->table->destroyIterator(clients->iterator), 0);
        serveUntilDone([this] { return (clients->iterator = clients->createIterator()) == nullptr ? 1 : 0; });
        received();
        for (Signal const& signal : VALID_SIGNALS) {
            send(signal);
            EXPECT_EQ(received(), signal.recordsIfReceived);
        }
        EXPECT_EQ(lastPresence, bus::presence());
        EXPECT_EQ(iteratorCounts[clientName], 1);  // The television has no other iterator of this connection.
    }

    ScopedThreadAllocationSuccess const memory;
    Strings missed;
    std::map<std::string, int> iteratorCounts;  ///< The number of iterators of each connection.
};

void doNothing(BusMemory& /*test*/) {}

/// A name, the test's step before a client's operation, and the operation, which runs while the test serves calls.
using Operation = std::tuple<char const*, void (*)(BusMemory& test), int (*)(Clients& clients)>;
constexpr Operation OPERATIONS[] = {
    {"connect", doNothing,
     [](Clients& /*clients*/) {
         RecordingObserver<int> observer;
         int const status = connectAndDisconnect("y", &observer);
         EXPECT_EQ(root().disconnectObject("y", &observer, nullptr), 0);
         return status;
     }},
    {"read", doNothing, [](Clients& clients) { return clients.list.statusOfRead(); }},
    {"write", doNothing, [](Clients& clients) { return clients.list.write(PRESENT); }},
    {"invoke", doNothing, invoke},
    {"iterate", doNothing,
     [](Clients& clients) {
         TableIterator* const made = clients.createIterator();
         if (made == nullptr) {
             return static_cast<int>(television::STATUS_NO_ANSWER);
         }
         made->seekToContent(MISSED[0]);
         made->readRowChunk(1);
         return clients.table->destroyIterator(made);
     }},
    {"list", doNothing, listObjectsOfBus},
    {"presence", doNothing, [](Clients& /*clients*/) { return bus::setPresenceListener(recordPresence); }},
    {"signals",
     [](BusMemory& test) {
         std::ranges::for_each(VALID_SIGNALS, [&test](Signal const& signal) { test.send(signal); });
         test.send({ITERATOR_PATH, bus::ITERATOR_INTERFACE, "RowChunkRead", makeBody("aas", 1, 1, MISSED[0].c_str())});
         test.send({LIST_PATH, PROPERTIES_INTERFACE, PROPERTIES_CHANGED,
                    makeBody("sa{sv}as", LIST_INTERFACE, 1, "Value", "as", 1, MISSED[0].c_str(), 0)});
     },
     syncWithTelevision},
    {"loss of the television, and its return",
     [](BusMemory& test) {
         EXPECT_GE(sd_bus_release_name(test.fakeTelevisionBus.get(), bus::SERVICE), 0);
         EXPECT_NE(test.run(syncWithTelevision), 0);
         test.change();
         test.iteratorCounts.clear();
         EXPECT_GE(sd_bus_request_name(test.fakeTelevisionBus.get(), bus::SERVICE, 0), 0);
     },
     syncWithTelevision},
    {"loss of the bus, and its return",
     [](BusMemory& test) {
         test.change();
         EXPECT_EQ(::shutdown(clientSocket, SHUT_RDWR), 0);
         test.run(syncWithTelevision);
     },
     syncWithTelevision},
};

TEST_F(BusMemory, MayRunOutAtAnyMoment) {
    failEachAllocation(OPERATIONS, [this](Operation const& operation, int allocations, bool lasts) {
        auto const& [name, prepare, use] = operation;
        bool hasNoFailedAllocation = false;
        {
            ScopedAllocationFailure const failure(allocations, lasts);
            prepare(*this);
            int const status = run(use);
            hasNoFailedAllocation = !ScopedAllocationFailure::hasHappened();
            EXPECT_THAT(status, testing::AnyOf(0, 101, 121, 122, 125));
            EXPECT_TRUE(!hasNoFailedAllocation || status == 0) << status;
        }
        restore();
        return hasNoFailedAllocation;
    });
}

}  // namespace test::bus_memory_test
