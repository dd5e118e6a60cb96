// Measures the time from a change in the television's process until a page in a web engine receives the change.
// Compares this time with the time of a minimal extension of the engine. Takes Google Benchmark's options. The
// televisions are child processes that run this executable.

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bus_fixture.h"

namespace {

namespace files = std::filesystem;
using test::ChildProcess;

struct Folder {
    Folder() {
        if (::mkdtemp(path.data()) == nullptr) {
            throw std::runtime_error("no folder for a browser");
        }
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder() { files::remove_all(path); }

    std::string path = files::temp_directory_path() / "nrx_web_bench_XXXXXX";
};

/// The resources that a thread has used.
struct Use {
    double switches = 0;  ///< Voluntary context switches.
    double seconds = 0;   ///< Processor time.
};
using Uses = std::map<std::string, Use>;  ///< The keys are the threads' identifiers.

/// The sum of the resources that the threads in `before` have used between `before` and `after`.
Use operator-(Uses const& after, Uses const& before) {
    Use sum;
    for (auto const& [thread, use] : after) {
        if (auto const earlier = before.find(thread); earlier != before.end()) {
            sum.switches += use.switches - earlier->second.switches;
            sum.seconds += use.seconds - earlier->second.seconds;
        }
    }
    return sum;
}

/// A browser with the extensions of a folder, its own television, and the page, which receives the television's lists.
class Browser {
public:
    explicit Browser(std::string const& extensions) {
        std::string const pipe = folder_.path + "/pipe";
        if (::mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR) != 0 || (pipe_ = ::open(pipe.c_str(), O_RDWR | O_CLOEXEC)) < 0) {
            throw std::runtime_error("no pipe for a browser");
        }
        ::setenv("XDG_RUNTIME_DIR", folder_.path.c_str(), 1);
        ::setenv("NRX_BUS_ADDRESS", fixture_.address.c_str(), 1);
        ::setenv("NRX_WEB_ORIGINS", "file://", 1);
        ::setenv("NRX_BENCH_PIPE", pipe.c_str(), 1);
        cog_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{"cog", "--platform=headless",
                                     "--web-extensions-dir=" NRX_WEB_FOLDERS "/" + extensions, "file://" NRX_WEB_PAGE});
    }
    Browser(Browser const&) = delete;
    Browser& operator=(Browser const&) = delete;
    ~Browser() { ::close(pipe_); }

    /// Publishes a list and waits until the page has received the list.
    [[nodiscard]] bool exchange(std::size_t lengthIndex, int milliseconds = 60'000) const {
        fixture_.publishList(lengthIndex);
        return isMarked(milliseconds);
    }

    /// Publishes lists until the page receives a list, then waits for late lists.
    void awaitPage() const {
        for (int tries = 0; !exchange(0, 100); ++tries) {
            if (tries == 600) {
                throw std::runtime_error("the page does not listen");
            }
        }
        while (isMarked(1000)) {
        }
    }

    /// The resources that the threads of the web process have used.
    [[nodiscard]] Uses uses() const {
        Uses uses;
        for (auto const& thread :
             files::directory_iterator("/proc/" + std::to_string(webProcess(cog_->id())) + "/task")) {
            Use& use = uses[thread.path().filename()];
            std::ifstream status(thread.path() / "status");
            for (std::string word; status >> word;) {
                if (word == "voluntary_ctxt_switches:") {
                    status >> use.switches;
                }
            }
            // The first number of the file is the processor time in nanoseconds.
            if (!(std::ifstream(thread.path() / "schedstat") >> use.seconds)) {
                throw std::runtime_error("no processor time of a thread");
            }
            use.seconds /= 1e9;
        }
        return uses;
    }

private:
    [[nodiscard]] bool isMarked(int milliseconds) const {
        pollfd source{pipe_, POLLIN, 0};
        char byte = 0;
        return ::poll(&source, 1, milliseconds) == 1 && ::read(pipe_, &byte, 1) == 1;
    }

    /// The first web process among the descendants; 0 if there is none.
    static pid_t webProcess(pid_t ancestor) {
        std::string const id = std::to_string(ancestor);
        std::ifstream children("/proc/" + id + "/task/" + id + "/children");
        for (pid_t child = 0; children >> child;) {
            std::string name;
            std::ifstream("/proc/" + std::to_string(child) + "/comm") >> name;
            pid_t const found = name == "WPEWebProcess" ? child : webProcess(child);
            if (found != 0) {
                return found;
            }
        }
        return 0;
    }

    Folder const folder_;
    bench::BusFixture const fixture_;
    int pipe_ = -1;
    std::unique_ptr<ChildProcess> cog_;
};

void addWay(char const* name, Browser const& browser, std::size_t lengthIndex) {
    bench::addExchangeBenchmark(bench::benchmarkName(name, lengthIndex), [&browser, lengthIndex] {
        return [&browser, lengthIndex](int /*exchanges*/) { return browser.exchange(lengthIndex); };
    });
}

/// Registers the benchmark of the resources that idle web processes use per second, with this project's extension and
/// without this extension.
void addIdle(Browser const& with, Browser const& without) {
    auto const measure = [&](benchmark::State& state) {
        constexpr double SECONDS = 2;
        for (auto _ : state) {
            Uses const before[] = {with.uses(), without.uses()};
            std::this_thread::sleep_for(std::chrono::duration<double>(SECONDS));
            Use const used = with.uses() - before[0];
            Use const usedWithout = without.uses() - before[1];
            state.counters["switches"] = used.switches / SECONDS;
            state.counters["switches_without"] = usedWithout.switches / SECONDS;
            state.counters["seconds"] = used.seconds / SECONDS;
            state.counters["seconds_without"] = usedWithout.seconds / SECONDS;
        }
    };
    benchmark::RegisterBenchmark("WebIdle", measure)->Iterations(1)->UseRealTime();
}

int run(int argc, char** argv) {
    bench::setRestrictedToOneProcessor(true);
    Browser const extension("extension");
    Browser const peer("peer");
    Browser const idle("extension");  // A web process that receives no lists.
    Browser const none("none");
    extension.awaitPage();
    peer.awaitPage();
    for (std::size_t lengthIndex = 0; lengthIndex < bench::LIST_LENGTHS.size(); ++lengthIndex) {
        addWay("WebRelay", extension, lengthIndex);
        addWay("PeerWebRelay", peer, lengthIndex);
    }
    addIdle(idle, none);
    return bench::runBenchmarks(argc, argv);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc == 3 && argv[1] == std::string_view("television")) {
        bench::serveTelevision(argv[2]);
    }
    return run(argc, argv);
} catch (std::exception const& error) {
    std::cerr << "nrx_web_bench: " << error.what() << '\n';
    return EXIT_FAILURE;
}
