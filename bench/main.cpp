#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string_view>

#include "measure.h"
#include "simulator/log.h"
#include "simulator/television.h"

namespace {

std::string processor() {
    constexpr std::string_view KEY = "model name";
    std::ifstream information("/proc/cpuinfo");
    for (std::string line; std::getline(information, line);) {
        if (line.starts_with(KEY)) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown";
}

constexpr std::string_view OPTION = "--iterations=";

/// Takes `--iterations=N` out of the arguments.
void takeIterations(int& count, char** arguments) {
    auto* const end = arguments + count;
    auto* const found =
        std::find_if(arguments, end, [](std::string_view argument) { return argument.starts_with(OPTION); });
    if (found != end) {
        std::string_view const number = std::string_view(*found).substr(OPTION.size());
        auto const [rest, error] = std::from_chars(number.begin(), number.end(), bench::iterations);
        if (error != std::errc() || rest != number.end() || bench::iterations < 1) {
            std::cerr << "nrx_bench: " << *found << ": expected a whole number above 0\n";
            std::exit(EXIT_FAILURE);
        }
        std::rotate(found, found + 1, end);
        --count;
    }
}

}  // namespace

/// The benchmark: Google Benchmark's options, and `--iterations=N` to make each call N times.
int main(int argc, char** argv) {
    bench::keepHeap();
    takeIterations(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    benchmark::AddCustomContext("compiler", "GCC " __VERSION__);
    benchmark::AddCustomContext("processor", processor());

    simulator::setLogLevel(simulator::LogLevel::off);
    simulator::Television television;
    bench::addRelay();
    bench::addValues();
    bench::addAccess(television);
    bench::addLog();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::ClearRegisteredBenchmarks();  // They hold clients of the television.
    benchmark::Shutdown();
}
