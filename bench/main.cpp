#include <charconv>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "measure.h"
#include "simulator/log.h"
#include "simulator/television.h"

namespace {

constexpr std::string_view OPTION = "--iterations=";

/// The number of `--iterations=N`, which must be above 0.
std::int64_t iterationsOf(std::string_view option) {
    std::int64_t number = 0;
    auto const [rest, error] = std::from_chars(option.begin() + OPTION.size(), option.end(), number);
    if (error != std::errc() || rest != option.end() || number < 1) {
        std::cerr << "nrx_bench: " << option << ": expected a whole number above 0\n";
        std::exit(EXIT_FAILURE);
    }
    return number;
}

}  // namespace

/// Takes the options of Google Benchmark. The first one may be `--iterations=N`, to make each call N times.
int main(int argc, char** argv) {
    bench::keepHeap();
    if (argc > 1 && std::string_view(argv[1]).starts_with(OPTION)) {
        bench::iterations = iterationsOf(argv[1]);
        argv[1] = argv[0];
        ++argv;
        --argc;
    }
    benchmark::AddCustomContext("compiler", "GCC " __VERSION__);

    simulator::setLogLevel(simulator::LogLevel::off);
    simulator::Television television;
    bench::addRelay();
    bench::addValues();
    bench::addAccess(television);
    bench::addClient(television);
    bench::addLog();
    return bench::runBenchmarks(argc, argv);
}
