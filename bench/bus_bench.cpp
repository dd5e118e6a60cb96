// Measures the time from a change in the television's process until a client in another process receives the change.
// Compares the facade with a client that uses sdbus-c++ directly. Takes Google Benchmark's options. The televisions are
// child processes that run this executable. The clients of `ClientProcesses` are such child processes too. All other
// clients run in the benchmark's own process.

#include <malloc.h>
#include <sdbus-c++/sdbus-c++.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iostream>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "bus_fixture.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "television/log.h"
#include "tests/child_process.h"

namespace {

using namespace std::chrono_literals;
using bench::BusFixture;
using bench::LIST_LENGTHS;
using bench::STRING_LENGTH;
using bench::Strings;
using orvane::model_keys::COMMAND;
using test::ChildProcess;
using Type = television::PlainKindTraits<Strings>;

constexpr int BATCH = 20;  ///< The number of exchanges between two readings of the clock.

using Receive = std::function<void(Strings const& list)>;

/// The facade as an embedding process uses it.
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

/// Reads the list directly from the signal, on the thread that receives the signal.
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

/// Exchanges lists with a client in this process: each received list makes the television publish the next list.
template <typename Way>
class Exchange {
public:
    Exchange(BusFixture const& fixture, std::size_t lengthIndex) : fixture_(fixture), lengthIndex_(lengthIndex) {}

    /// Returns whether all lists arrived.
    bool run(int exchanges) {
        left_ = exchanges;
        fixture_.publishList(lengthIndex_);
        return isComplete_.try_acquire_for(60s);
    }

private:
    void receive(Strings const& list) {
        if (static_cast<int>(list.size()) != LIST_LENGTHS.at(lengthIndex_) || list.back().size() != STRING_LENGTH) {
            throw std::runtime_error("another list was expected");
        }
        if (--left_ > 0) {
            fixture_.publishList(lengthIndex_);
        } else {
            isComplete_.release();
        }
    }

    BusFixture const& fixture_;
    std::size_t const lengthIndex_;
    std::atomic<int> left_ = 0;
    std::binary_semaphore isComplete_{0};
    Way const way_{[this](Strings const& list) { receive(list); }};
};

template <typename Way>
void addWay(std::string const& name, BusFixture const& fixture, std::size_t lengthIndex) {
    auto const makeExchange = [&fixture, lengthIndex] {
        ::malloc_trim(0);  // Releases the memory of the longer lists of other benchmarks.
        auto const exchange = std::make_shared<Exchange<Way>>(fixture, lengthIndex);
        return [exchange](int exchanges) { return exchange->run(exchanges); };
    };
    bench::addExchangeBenchmark(bench::benchmarkName(name, lengthIndex), makeExchange, BATCH);
}

/// Memory that is shared with the client processes. The last client that receives the list posts the semaphore, so that
/// this process wakes up only once.
struct Round {
    std::atomic<std::size_t> left;  ///< The number of clients that have not received the list yet.
    ::sem_t isComplete;
};

struct Unmap {
    void operator()(Round* round) const { ::munmap(round, sizeof(Round)); }
};

/// Maps the `Round` that the file contains.
std::unique_ptr<Round, Unmap> mapRound(int file) {
    void* const memory = ::mmap(nullptr, sizeof(Round), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no shared memory");
    }
    return std::unique_ptr<Round, Unmap>(static_cast<Round*>(memory));
}

/// Runs a client process until the process is killed.
template <typename Way>
[[noreturn]] void listen(int file) {
    bench::setRestrictedToOneProcessor(false);
    auto const round = mapRound(file);
    Way const way([&round](Strings const& /*list*/) {
        if (--round->left == 0) {
            ::sem_post(&round->isComplete);
        }
    });
    std::cout << "listening" << std::endl;
    while (true) {
        ::pause();
    }
}

/// Exchanges lists with client processes, which run this program with the first argument `part`.
class ClientProcesses {
public:
    ClientProcesses(BusFixture const& fixture, char const* part, std::size_t count) : fixture_(fixture) {
        int const file = ::memfd_create("round", 0);
        if (::ftruncate(file, sizeof(Round)) != 0) {
            throw std::runtime_error("no file for shared memory");
        }
        round_ = mapRound(file);
        ::sem_init(&round_->isComplete, 1, 0);
        for (std::size_t number = 0; number < count; ++number) {
            clients_.push_back(std::make_unique<ChildProcess>(
                std::vector<std::string>{"/proc/self/exe", part, fixture.address, std::to_string(file)}));
            clients_.back()->readLine();
        }
        ::close(file);
        run(BATCH);  // The first exchanges of a new process are slower.
    }

    /// Returns whether all clients received all lists.
    bool run(int exchanges) {
        bool isComplete = true;
        for (; isComplete && exchanges > 0; --exchanges) {
            round_->left = clients_.size();
            fixture_.publishList(0);
            timespec const deadline{::time(nullptr) + 60, 0};
            isComplete = ::sem_timedwait(&round_->isComplete, &deadline) == 0;
        }
        return isComplete;
    }

private:
    BusFixture const& fixture_;
    std::unique_ptr<Round, Unmap> round_;
    std::vector<std::unique_ptr<ChildProcess>> clients_;
};

void addClients(std::string const& name, char const* part, BusFixture const& fixture, std::size_t count) {
    bench::addExchangeBenchmark(name + '/' + std::to_string(count), [&fixture, part, count] {
        auto const clients = std::make_shared<ClientProcesses>(fixture, part, count);
        return [clients](int exchanges) { return clients->run(exchanges); };
    });
}

int run(int argc, char** argv) {
    BusFixture const forMany;  // The bus and the television may run on any processor.
    bench::setRestrictedToOneProcessor(true);
    BusFixture const forOne;
    ::setenv("NRX_BUS_ADDRESS", forOne.address.c_str(), 1);
    for (std::size_t lengthIndex = 0; lengthIndex < LIST_LENGTHS.size(); ++lengthIndex) {
        addWay<BusRelay>("BusRelay", forOne, lengthIndex);
        addWay<PeerBusProxy>("PeerBusProxy", forOne, lengthIndex);
    }
    for (auto const count : std::initializer_list<std::size_t>{1, 10, 100}) {
        addClients("BusClients", "client", forMany, count);
        addClients("PeerBusClients", "peer", forMany, count);
    }
    return bench::runBenchmarks(argc, argv);
}

}  // namespace

int main(int argc, char** argv) try {
    bench::keepFreedMemory();
    television::setLogLevel(television::LogLevel::off);
    std::string_view const part = argc > 1 ? argv[1] : "";
    if (part == "television") {
        bench::serveTelevision(argv[2]);
    }
    if (part == "client" || part == "peer") {
        ::setenv("NRX_BUS_ADDRESS", argv[2], 1);
        part == "client" ? listen<BusRelay>(std::stoi(argv[3])) : listen<PeerBusProxy>(std::stoi(argv[3]));
    }
    return run(argc, argv);
} catch (std::exception const& error) {
    std::cerr << "nrx_bus_bench: " << error.what() << '\n';
    return EXIT_FAILURE;
}
