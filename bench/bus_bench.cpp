// What a change in the television's process costs on its way to a client in another one, beside a bare proxy of the
// message bus: Google Benchmark's options. The program starts itself as the television, and as the clients.

#include <malloc.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "bus_ground.h"
#include "measure.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "television/log.h"
#include "tests/child.h"

namespace {

using namespace std::chrono_literals;
using bench::COUNTS;
using bench::Ground;
using bench::LENGTH;
using bench::runOn;
using bench::Strings;
using orvane::model_keys::COMMAND;
using test::Child;
using Type = television::PlainKind<Strings>;

constexpr int BATCH = 20;  ///< How often a change goes to and fro between two looks at the clock.

using Receive = std::function<void(Strings const& list)>;

/// The facade, as it stands in a host.
class BusRelay final : public orvane::NRXModelAccessClient {
public:
    explicit BusRelay(Receive receive) : receive_(std::move(receive)) {
        access_.startCommandListener();
        access_.start();
    }
    void onNRXCommandReceived(Strings const& list) override { receive_(list); }
    void onNRXEventReceived(Strings const& /*list*/) override {}

private:
    Receive const receive_;
    orvane::NRXModelAccess access_{this};
};

/// Reads the list where it stands in the signal, on the thread that takes it from the bus.
class PeerBusProxy {
public:
    explicit PeerBusProxy(Receive receive) : receive_(std::move(receive)) {
        proxy_->registerSignalHandler(bus::PROPERTIES_INTERFACE, "PropertiesChanged",
                                      [this](sdbus::Signal& signal) { handle(signal); });
        proxy_->finishRegistration();
        connection_->enterEventLoopAsync();
    }
    PeerBusProxy(PeerBusProxy const&) = delete;
    PeerBusProxy& operator=(PeerBusProxy const&) = delete;
    ~PeerBusProxy() { connection_->leaveEventLoop(); }

private:
    void handle(sdbus::Signal& signal) const {
        std::string interface;
        std::string property;
        Strings list;
        signal >> interface;
        signal.enterContainer("{sv}");
        signal.enterDictEntry("sv");
        signal >> property;
        signal.enterVariant("as");
        signal >> list;
        if (interface == Type::INTERFACE && property == "Value") {
            receive_(list);
        }
    }

    Receive const receive_;
    std::unique_ptr<sdbus::IConnection> const connection_ =
        sdbus::createSessionBusConnectionWithAddress(std::getenv("NRX_BUS_ADDRESS"));
    std::unique_ptr<sdbus::IProxy> const proxy_ = sdbus::createProxy(*connection_, bus::SERVICE, bus::pathOf(COMMAND));
};

/// Changes that go from the television to a client here, the next one when the one before is there.
class Exchange {
public:
    Exchange(Child const& television, std::size_t which)
        : television_(television), which_(1, static_cast<char>(which)) {}

    /// Returns whether all have come.
    bool run(int changes) {
        left_ = changes;
        television_.write(which_);
        return ended_.try_acquire_for(60s);
    }
    void receive(Strings const& list) {
        if (static_cast<int>(list.size()) != COUNTS.at(static_cast<std::size_t>(which_[0])) ||
            list.back().size() != LENGTH) {
            throw std::runtime_error("another list was expected");
        }
        if (--left_ > 0) {
            television_.write(which_);
        } else {
            ended_.release();
        }
    }

private:
    Child const& television_;
    std::string const which_;
    std::atomic<int> left_ = 0;
    std::binary_semaphore ended_{0};
};

template <typename Way>
void addWay(std::string const& name, Child const& television, std::size_t which) {
    auto const measure = [&television, which](benchmark::State& state) {
        ::malloc_trim(0);  // What longer lists left of the heap is not this one's.
        Exchange exchange(television, which);
        Way const way([&exchange](Strings const& list) { exchange.receive(list); });
        bool complete = exchange.run(1);
        while (complete && state.KeepRunningBatch(BATCH)) {
            complete = exchange.run(BATCH);
        }
        if (!complete) {
            state.SkipWithError("a list did not come");
        }
    };
    benchmark::RegisterBenchmark(bench::nameOf(name, which).c_str(), measure)->UseRealTime();
}

/// What the client processes share: how many of them have not got the list yet. The last one says so on the socket, so
/// that nobody is woken before.
struct Round {
    /// In the file, which those that have it open share.
    static Round& in(int file) {
        void* const memory = ::mmap(nullptr, sizeof(Round), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        return memory != MAP_FAILED ? *static_cast<Round*>(memory) : throw std::runtime_error("no memory to share");
    }

    std::atomic<std::size_t> left;
};

/// A client in a process of its own, which runs until it is ended.
template <typename Way>
[[noreturn]] void listen(int socket, int file) {
    runOn(false);
    Round& round = Round::in(file);
    Way const way([socket, &round](Strings const& /*list*/) {
        if (--round.left == 0) {
            ::send(socket, "", 1, MSG_NOSIGNAL);
        }
    });
    std::cout << "listening" << std::endl;
    while (true) {
        ::pause();
    }
}

/// From a change to the moment at which all client processes have it, which are started as such a `part`.
void addClients(std::string const& name, char const* part, Ground const& ground, std::size_t count) {
    auto const measure = [part, &ground, count](benchmark::State& state) {
        int ends[2]{};
        int const file = ::memfd_create("round", 0);
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0 || ::ftruncate(file, sizeof(Round)) != 0) {
            throw std::runtime_error("nothing to share with the clients");
        }
        Round& round = Round::in(file);
        std::vector<std::unique_ptr<Child>> clients;
        for (std::size_t number = 0; number < count; ++number) {
            clients.push_back(std::make_unique<Child>(std::vector<std::string>{
                "/proc/self/exe", part, ground.address, std::to_string(ends[1]), std::to_string(file)}));
            clients.back()->readLine();
        }
        ::close(ends[1]);  // The last one is then the clients'.
        auto const tellAll = [&] {
            round.left = count;
            ground.television.write(std::string(1, '\0'));
            char byte = 0;
            return ::recv(ends[0], &byte, 1, 0) == 1;
        };
        bool complete = true;
        for (int rounds = 0; complete && rounds < BATCH; ++rounds) {  // A process that has just started is slow.
            complete = tellAll();
        }
        while (complete && state.KeepRunning()) {
            complete = tellAll();
        }
        if (!complete) {
            state.SkipWithError("a list did not come");
        }
        clients.clear();
        ::close(ends[0]);
        ::munmap(&round, sizeof(Round));
        ::close(file);
    };
    benchmark::RegisterBenchmark((name + '/' + std::to_string(count)).c_str(), measure)->UseRealTime();
}

void run(int argc, char** argv) {
    Ground const forMany;  // On any processor.
    runOn(true);
    Ground const forOne;
    ::setenv("NRX_BUS_ADDRESS", forOne.address.c_str(), 1);
    for (std::size_t which = 0; which < COUNTS.size(); ++which) {
        addWay<BusRelay>("BusRelay", forOne.television, which);
        addWay<PeerBusProxy>("PeerBusProxy", forOne.television, which);
    }
    for (auto const count : std::initializer_list<std::size_t>{1, 10, 100}) {
        addClients("BusClients", "client", forMany, count);
        addClients("PeerBusClients", "peer", forMany, count);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        std::exit(EXIT_FAILURE);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

}  // namespace

int main(int argc, char** argv) try {
    bench::keepHeap();
    television::setLogLevel(television::LogLevel::off);
    std::string_view const part = argc > 1 ? argv[1] : "";
    if (part == "television") {
        bench::serveTelevision(argv[2]);
    }
    if (part == "client" || part == "peer") {
        ::setenv("NRX_BUS_ADDRESS", argv[2], 1);
    }
    if (part == "client") {
        listen<BusRelay>(std::stoi(argv[3]), std::stoi(argv[4]));
    } else if (part == "peer") {
        listen<PeerBusProxy>(std::stoi(argv[3]), std::stoi(argv[4]));
    }
    run(argc, argv);
} catch (std::exception const& error) {
    std::cerr << "nrx_bus_bench: " << error.what() << '\n';
    return EXIT_FAILURE;
}
