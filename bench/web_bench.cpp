// What a change in the television's process costs on its way to a page in a web engine, beside the least that can bring
// it there: Google Benchmark's options. The program starts itself as the televisions.

#include <benchmark/benchmark.h>
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
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bus_ground.h"
#include "measure.h"

namespace {

namespace files = std::filesystem;
using bench::COUNTS;
using bench::Ground;
using test::Child;

/// A folder that ends with this object.
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

/// What a thread has used so far.
struct Use {
    double switches = 0;  ///< Voluntary ones.
    double seconds = 0;   ///< Of processors.
};
/// By the threads' identifiers.
using Uses = std::map<std::string, Use>;

/// What the threads that were there before have used since.
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

/// A browser with the extensions of a folder, and in it the page, which listens to a television of its own.
class Browser {
public:
    explicit Browser(std::string const& extensions) {
        std::string const pipe = folder_.path + "/pipe";
        if (::mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR) != 0 || (pipe_ = ::open(pipe.c_str(), O_RDWR | O_CLOEXEC)) < 0) {
            throw std::runtime_error("no pipe for a browser");
        }
        ::setenv("XDG_RUNTIME_DIR", folder_.path.c_str(), 1);
        ::setenv("NRX_BUS_ADDRESS", ground_.address.c_str(), 1);
        ::setenv("NRX_WEB_ORIGINS", "file://", 1);
        ::setenv("NRX_BENCH_PIPE", pipe.c_str(), 1);
        cog_ = std::make_unique<Child>(
            std::vector<std::string>{"cog", "--platform=headless",
                                     "--web-extensions-dir=" NRX_WEB_FOLDERS "/" + extensions, "file://" NRX_WEB_PAGE});
    }
    Browser(Browser const&) = delete;
    Browser& operator=(Browser const&) = delete;
    ~Browser() { ::close(pipe_); }

    /// Changes the list, and waits until the page has it.
    [[nodiscard]] bool exchange(std::size_t which, int milliseconds = 60'000) const {
        ground_.television.write(std::string(1, static_cast<char>(which)));
        return isMarked(milliseconds);
    }

    /// Until the page listens, lists are lost; what comes later than it is waited for comes before the silence.
    void awaitPage() const {
        for (int tries = 0; !exchange(0, 100); ++tries) {
            if (tries == 600) {
                throw std::runtime_error("the page does not listen");
            }
        }
        while (isMarked(1000)) {
        }
    }

    /// Of the web process.
    [[nodiscard]] Uses uses() const {
        Uses uses;
        for (auto const& thread :
             files::directory_iterator("/proc/" + std::to_string(webProcess(cog_->id())) + "/task")) {
            Use& use = uses[thread.path().filename()];
            std::ifstream status(thread.path() / "status");
            for (std::string word; status >> word;) {
                if (double switches = 0; word == "voluntary_ctxt_switches:" && status >> switches) {
                    use.switches = switches;
                }
            }
            std::ifstream stat(thread.path() / "stat");
            std::string fields;
            std::getline(stat, fields);
            std::istringstream rest(fields.substr(fields.rfind(')') + 1));
            constexpr int BEFORE_TIMES = 11;  // Of the fields behind the name, before utime and stime.
            std::string word;
            for (int field = 0; field < BEFORE_TIMES; ++field) {
                rest >> word;
            }
            double user = 0;
            double system = 0;
            rest >> user >> system;
            use.seconds = (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
        }
        return uses;
    }

private:
    [[nodiscard]] bool isMarked(int milliseconds) const {
        pollfd source{pipe_, POLLIN, 0};
        char byte = 0;
        return ::poll(&source, 1, milliseconds) == 1 && ::read(pipe_, &byte, 1) == 1;
    }

    /// The first web process among the descendants; 0 when there is none.
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
    Ground const ground_;
    int pipe_ = -1;
    std::unique_ptr<Child> cog_;
};

void addWay(char const* name, Browser const& browser, std::size_t which) {
    auto const measure = [&browser, which](benchmark::State& state) {
        bool isComplete = browser.exchange(which);
        while (isComplete && state.KeepRunning()) {
            isComplete = browser.exchange(which);
        }
        if (!isComplete) {
            state.SkipWithError("a list did not come");
        }
    };
    benchmark::RegisterBenchmark(bench::nameOf(name, which).c_str(), measure)->UseRealTime();
}

/// What pages use that wait for lists, in a second: with the extension, and without any.
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

void run(int argc, char** argv) {
    bench::runOn(true);
    Browser const extension("extension");
    Browser const peer("peer");
    Browser const idle("extension");  // One that has had no lists, and no garbage of them.
    Browser const none("none");
    extension.awaitPage();
    peer.awaitPage();
    for (std::size_t which = 0; which < COUNTS.size(); ++which) {
        addWay("WebRelay", extension, which);
        addWay("PeerWebRelay", peer, which);
    }
    addIdle(idle, none);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        std::exit(EXIT_FAILURE);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc == 3 && argv[1] == std::string_view("television")) {
        bench::serveTelevision(argv[2]);
    }
    run(argc, argv);
} catch (std::exception const& error) {
    std::cerr << "nrx_web_bench: " << error.what() << '\n';
    return EXIT_FAILURE;
}
