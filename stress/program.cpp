#include "stress/program.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace stress {

int numberAt(int place, int argc, char** argv, int otherwise) {
    if (place < argc) {
        char const* const end = argv[place] + std::strlen(argv[place]);
        auto const [read, error] = std::from_chars(argv[place], end, otherwise);
        if (error != std::errc() || read != end || otherwise < 0) {
            fail("found \"" + std::string(argv[place]) + "\", expected a whole number that is not below 0");
        }
    }
    return otherwise;
}

void fail(std::string const& what) {
    std::fprintf(stderr, "stress: %s\n", what.c_str());
    std::_Exit(EXIT_FAILURE);
}

Watchdog::Watchdog(std::chrono::seconds patience)
    : patience_(patience), thread_([this](std::stop_token const& stop) { watch(stop); }) {}

void Watchdog::watch(std::stop_token const& stop) {
    auto last = beats_.load();
    auto since = std::chrono::steady_clock::now();
    while (!stop.stop_requested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        auto const now = std::chrono::steady_clock::now();
        if (auto const beats = beats_.load(); beats != last) {
            last = beats;
            since = now;
        } else if (now - since > patience_) {
            ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);  // Where a process may look only into its children.
            int const shown = std::system(("exec eu-stack -p " + std::to_string(::getpid()) + " >&2").c_str());
            fail(shown == 0 ? "nothing gets on any more" : "nothing gets on any more, and eu-stack cannot say where");
        }
    }
}

}  // namespace stress
