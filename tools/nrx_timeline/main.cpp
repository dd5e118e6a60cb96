#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "television/printable.h"
#include "tools/nrx_timeline/output.h"

namespace {

using nrx_timeline::Timeline;

constexpr int EXIT_FAILED = 2;

int fail(std::string const& what) {
    std::cerr << "nrx_timeline: " + television::printable(what) + "\n";
    return EXIT_FAILED;
}

Timeline read(std::istream& log, std::string const& name) {
    bool const open = log.good();
    Timeline timeline = nrx_timeline::readTimeline(log);
    if (!open || log.bad() || std::ferror(stdin) != 0) {  // std::cin takes a failed read for its end.
        throw std::runtime_error(name + ": cannot be read, expected a log");
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
    std::string json;
    std::string svg;
    std::string log;
    CLI::App app("Shows a log over time, with the library's operations by thread. Best of a log with stamps.",
                 "nrx_timeline");
    auto const* const jsonOption =
        app.add_option("--json", json, "File for trace events; standard output when no picture is asked for");
    auto const* const svgOption = app.add_option("--svg", svg, "File for a picture");
    auto const* const logOption = app.add_option("LOG", log, "File of the log; standard input by default");
    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& help) {
        return app.exit(help);
    } catch (CLI::ParseError const& error) {
        return fail(error.what());
    }

    bool const fromFile = logOption->count() > 0;
    std::ifstream file;
    if (fromFile) {
        file.open(log);
    }
    Timeline const timeline = fromFile ? read(file, log) : read(std::cin, "standard input");
    if (jsonOption->count() > 0) {
        writeFile(nrx_timeline::writeTraceEvents, timeline, json);
    }
    if (svgOption->count() > 0) {
        writeFile(nrx_timeline::writePicture, timeline, svg);
    }
    if (jsonOption->count() + svgOption->count() == 0) {
        write(nrx_timeline::writeTraceEvents, timeline, std::cout, "standard output");
    }
    std::cerr << "nrx_timeline: " + std::to_string(timeline.lines) + " lines, " + std::to_string(timeline.skipped) +
                     " skipped\n";
    return 0;
}

}  // namespace

int main(int argc, char** argv) try { return run(argc, argv); } catch (std::exception const& error) {
    return fail(error.what());
}
