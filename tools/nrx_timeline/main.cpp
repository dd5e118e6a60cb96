#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "tools/command_line/command_line.h"
#include "tools/nrx_timeline/output.h"

namespace {

using nrx_timeline::Timeline;

constexpr char PROGRAM[] = "nrx_timeline";
constexpr int EXIT_FAILED = 2;

Timeline read(std::istream& log, std::string const& name) {
    bool const open = log.good();
    Timeline timeline = nrx_timeline::readTimeline(log);
    if (!open || log.bad() || std::ferror(stdin) != 0) {  // std::cin treats a failed read as the end of the input.
        throw std::runtime_error(name + ": cannot be read, expected a log");
    }
    if (timeline.eventTimes.empty()) {
        throw std::runtime_error(name + ": found no line of the library among " + std::to_string(timeline.lineCount) +
                                 ", expected its log");
    }
    return timeline;
}

using Writer = void (*)(Timeline const& timeline, std::ostream& output);

void write(Writer writer, Timeline const& timeline, std::ostream& output, std::string const& name) {
    writer(timeline, output);
    if (!output.flush()) {
        throw std::runtime_error(name + " cannot be written");
    }
}

void writeFile(Writer writer, Timeline const& timeline, std::string const& path) {
    std::ofstream file(path);
    write(writer, timeline, file, path);
}

int run(int argc, char** argv) {
    std::optional<std::string> json;
    std::optional<std::string> svg;
    std::optional<std::string> log;
    command_line::CommandLine words(
        PROGRAM, "Shows a log over time: the library's operations by thread. A log with stamps also has their times.");
    words.addText("--json", json, "File for trace events; by default standard output, unless --svg is given");
    words.addText("--svg", svg, "File for a picture");
    words.addText("LOG", log, "File of the log; standard input by default");
    if (auto const status = words.parse(argc, argv)) {
        return *status;
    }

    std::ifstream file;
    if (log) {
        file.open(*log);
    }
    Timeline const timeline = log ? read(file, *log) : read(std::cin, "standard input");
    if (json) {
        writeFile(nrx_timeline::writeTraceEvents, timeline, *json);
    }
    if (svg) {
        writeFile(nrx_timeline::writeSvg, timeline, *svg);
    }
    if (!json && !svg) {
        write(nrx_timeline::writeTraceEvents, timeline, std::cout, "standard output");
    }
    std::cerr << PROGRAM
              << ": " + std::to_string(timeline.lineCount) + " lines, " + std::to_string(timeline.skippedLineCount) +
                     " skipped\n";
    return 0;
}

}  // namespace

int main(int argc, char** argv) { return command_line::runMain(PROGRAM, EXIT_FAILED, run, argc, argv); }
