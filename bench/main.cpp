#include <cstdlib>
#include <iostream>
#include <string_view>

#include "measure.h"
#include "simulator/log.h"
#include "simulator/television.h"
#include "television/environment.h"

namespace {

constexpr std::string_view OPTION = "--iterations=";

/// The number of `--iterations=N`, which must be above 0.
std::int64_t iterationsOf(std::string_view option) {
    auto const number = television::parseNumber<std::int64_t>(option.substr(OPTION.size()));
    if (!number || *number < 1) {
        std::cerr << "nrx_bench: " << option << ": expected a whole number above 0\n";
        std::exit(EXIT_FAILURE);
    }
    return *number;
}

}  // namespace

/// Takes the options of Google Benchmark. With `--iterations=N` as the first option, each benchmark measures N calls.
int main(int argc, char** argv) {
    bench::keepFreedMemory();
    if (argc > 1 && std::string_view(argv[1]).starts_with(OPTION)) {
        bench::callsPerBenchmark = iterationsOf(argv[1]);
        argv[1] = argv[0];
        ++argv;
        --argc;
    }
    benchmark::AddCustomContext("compiler", "GCC " __VERSION__);

    simulator::setLogLevel(simulator::LogLevel::off);
    simulator::Television television;
    bench::addListRelayBenchmarks();
    bench::addValueObjectBenchmarks();
    bench::addAccessObjectBenchmarks(television);
    bench::addPropertyBenchmarks(television);
    bench::addRefusedLogBenchmarks();
    return bench::runBenchmarks(argc, argv);
}
