#include "stress/program.h"

#include <execinfo.h>
#include <semaphore.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

namespace stress {

namespace {

sem_t shown;

void showStack(int /*signal*/) {
    void* frames[64];
    backtrace_symbols_fd(frames, backtrace(frames, 64), STDERR_FILENO);
    sem_post(&shown);
}

/// Interrupts one thread after the other.
void showStacks() {
    sem_init(&shown, 0, 0);
    std::signal(SIGUSR2, showStack);
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        int const thread = std::stoi(entry.path().filename());
        std::fprintf(stderr, "thread %d:\n", thread);
        timespec deadline{};
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += 2;
        if (tgkill(getpid(), thread, SIGUSR2) == 0) {
            while (sem_timedwait(&shown, &deadline) != 0 && errno == EINTR) {
            }
        }
    }
}

}  // namespace

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
    void* frame = nullptr;
    backtrace(&frame, 1);  // Loads what it needs, which a signal's handler cannot.
    auto last = beats_.load();
    auto since = std::chrono::steady_clock::now();
    while (!stop.stop_requested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        auto const now = std::chrono::steady_clock::now();
        if (auto const beats = beats_.load(); beats != last) {
            last = beats;
            since = now;
        } else if (now - since > patience_) {
            showStacks();
            fail("nothing gets on any more");
        }
    }
}

}  // namespace stress
