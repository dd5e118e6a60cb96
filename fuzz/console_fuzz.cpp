// Loads a random model file into the console, and runs random lines against a television with the file's objects. Most
// words come from the console's completions, so that most lines are commands.

#include <sys/mman.h>
#include <unistd.h>

#include <new>
#include <nlohmann/json.hpp>
#include <thread>

#include "fuzz/harness.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "television/log.h"
#include "television/printable.h"
#include "tools/nrx_console/console.h"
#include "tools/nrx_console/model_file.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/session.h"

/// Replaces the C library's `usleep`, so that waits take no time.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t /*microseconds*/) { return 0; }

namespace {

using namespace nrx_console;
using namespace orvane::model_keys;
using fuzz::Bytes, fuzz::expect;
using Json = nlohmann::json;

// The plain-valued types come first, in the order of the alternatives of `television::Value`.
constexpr char const* TYPES[] = {"integer", "int64", "string", "integer-list", "string-list", "table", "action", "x"};
constexpr char const* KEYS[] = {COMMAND, EVENT, SOFTWARE_VERSION, SOURCE_SWITCH, "k", "command"};

std::string text(Bytes& bytes) { return bytes.text(24); }

// The console's output. `answers` keeps the ordinary lines that commands print on the harness's thread.

std::thread::id const ownThread = std::this_thread::get_id();
Words answers;

void takeLine(std::string const& line, LineKind kind) {
    bool const isText =
        std::none_of(line.begin(), line.end(), [](unsigned char byte) { return byte < ' ' || byte == 0x7F; });
    expect(isText && line == television::printable(line), "a line is printable");
    if (kind == LineKind::ordinary && std::this_thread::get_id() == ownThread) {
        answers.push_back(line);
    }
}

// Model files.

Json value(Bytes& bytes, int depth = 0) {
    constexpr int DEEPEST = 3;
    int const kind = bytes.number(0, depth < DEEPEST ? 4 : 2);
    if (kind <= 2) {
        return kind == 0   ? Json(bytes.number<std::int64_t>())
               : kind == 1 ? Json(bytes.number<std::int8_t>())
                           : Json(text(bytes));
    }
    Json list = Json::array();
    while (bytes.nextBool()) {
        list.push_back(value(bytes, depth + 1));
    }
    return list;
}

std::string modelText(Bytes& bytes) {
    Json objects = Json::array();
    while (bytes.nextBool()) {
        std::string const key = bytes.nextBool() ? bytes.pick(KEYS) : text(bytes);
        Json object{{"key", key}, {"type", bytes.pick(TYPES)}};
        if (object["type"] != "action") {
            object["value"] = value(bytes);
        }
        objects.push_back(object);
    }
    std::string model = Json{{"objects", objects}}.dump(-1, ' ', bytes.nextBool(), Json::error_handler_t::replace);
    if (bytes.number(0, 7) == 7) {  // The changed text may be invalid JSON.
        auto const at = bytes.number<std::size_t>(0, model.size());
        model.replace(at, bytes.number<std::uint8_t>(), text(bytes));
    }
    return model;
}

/// Writes each plain value as the words of a command, and checks that the words give the same value.
void checkValues(std::vector<ModelObject> const& objects) {
    for (auto const& [key, content] : objects) {
        if (auto const* const value = std::get_if<television::Value>(&content)) {
            Words const again = wordsOf(typed(wordsOfValue(*value)));
            expect(std::get<television::Value>(contentFromCommandWords(TYPES[value->index()], again)) == *value,
                   "a value");
        }
    }
}

/// Returns the objects of a model file that contains `content`. Returns no objects if the console refuses the file.
std::vector<ModelObject> load(std::string const& content) {
    static int const file = memfd_create("model", 0);
    expect(ftruncate(file, 0) == 0 && pwrite(file, content.data(), content.size(), 0) >= 0, "a file");
    try {
        return readModelFile("/proc/self/fd/" + std::to_string(file));
    } catch (ModelError const& error) {
        takeLine(error.what(), LineKind::error);
        return {};
    }
}

// Lines.

/// Returns whether the line can be split into words. Checks that the line that `typed` makes of the words is split into
/// the same words.
bool checkWords(std::string const& line) {
    Words words;
    try {
        words = wordsOf(line);
    } catch (CommandError const&) {
        return false;
    }
    expect(wordsOf(typed(words)) == words, "the same words");
    std::size_t const last = lastWordPosition(line);
    Words parts = wordsOf(line.substr(0, last));
    Words const end = wordsOf(line.substr(last));
    parts.insert(parts.end(), end.begin(), end.end());
    expect(parts == words && end.size() <= 1, "the last word");
    return true;
}

/// Returns the completions of the line's last word. Checks that each completion can be typed instead of the word.
Words completions(Console const& console, std::string const& line) {
    Words choices;
    bool const hasWords = checkWords(line);
    try {
        choices = console.completions(line);
    } catch (CommandError const&) {
        expect(!hasWords, "a line of words is completed");
    }
    std::string const before = line.substr(0, lastWordPosition(line));
    for (std::string const& choice : choices) {
        Words const words = wordsOf(before + choice);
        expect(choice.starts_with(line.substr(before.size())), "a completion goes on with the word");
        expect(words.size() == wordsOf(before).size() + 1 && typed(words.back()) == choice, "a completion is a word");
    }
    return choices;
}

std::string commandLine(Bytes& bytes, Console const& console) {
    std::string line;
    while (true) {
        Words const choices = completions(console, line);
        int const way = bytes.number(0, 15);
        if (way > 4 && !choices.empty()) {
            line += bytes.pick(choices);
        } else if (way == 0 || way > 8) {
            return line;
        } else if (way == 1) {
            line += text(bytes);  // The text may contain no word, or several words.
        } else {
            line += way == 2 ? std::to_string(bytes.number<int>()) : typed(text(bytes));
        }
        completions(console, line);  // Checks the completions of the unfinished word.
        line += ' ';
    }
}

/// Runs the line and returns whether the console continues. If `mayRunOut` is true, the line may throw
/// `std::bad_alloc`.
bool carryOut(Console& console, std::string const& line, bool mayRunOut) {
    auto const execute = [&](std::string const& command) {
        try {
            return console.executeUnlessQuit(command);
        } catch (std::exception const& error) {
            expect(dynamic_cast<CommandError const*>(&error) != nullptr ||
                       dynamic_cast<ModelError const*>(&error) != nullptr ||
                       (mayRunOut && dynamic_cast<std::bad_alloc const*>(&error) != nullptr),
                   "an error of the console's");
            throw;
        }
    };
    return runLine(line, "line", execute) != Outcome::quit;
}

/// Runs a line that must not fail, and returns the printed lines.
Words answerTo(Console& console, std::string const& line) {
    answers.clear();
    console.executeUnlessQuit(line);
    return std::exchange(answers, {});
}

/// Checks that the shown value of each object can be typed in a command, and that the command sets the same value.
void checkShown(Console& console) {
    console.executeUnlessQuit("tv on");
    for (std::string const& object : answerTo(console, "list")) {
        Words const words = wordsOf(object);
        std::string const key = typed(words.at(0));
        expect(object.starts_with(key + " "), "a key");
        console.executeUnlessQuit("tv heal " + key);
        constexpr std::string_view VALUE = "value: ";
        for (std::string const& line : answerTo(console, "show " + key)) {
            if (line.starts_with(VALUE)) {
                std::string const value = line.substr(VALUE.size());
                console.executeUnlessQuit("tv set " + key + " " + value);
                expect(answerTo(console, "read " + key) == Words{key + ": " + value}, "a shown value can be typed");
            }
        }
        if (words.at(1) == "table") {
            Words const rows = answerTo(console, "table " + key);
            std::string line = "tv set " + key;
            std::for_each(rows.begin() + 1, rows.end(), [&](auto const& row) { line += " " + typed(row.substr(2)); });
            console.executeUnlessQuit(line);
            expect(answerTo(console, "table " + key) == rows, "the rows that were printed");
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    [[maybe_unused]] static bool const prepared = [] {
        setLineSink(takeLine);
        setLogRedirectedToConsole(true);
        return std::freopen("/dev/null", "w", stdout) != nullptr;  // The library prints refused lookups to stdout.
    }();
    television::setLogLevel(television::LogLevel::off);
    Bytes bytes(data, size);
    std::vector<ModelObject> const objects = load(modelText(bytes));
    checkValues(objects);
    Console console(makeTelevisionCommands(objects));
    bool mayRunOut = false;
    while (bytes.isLeft()) {
        std::string const line = commandLine(bytes, console);
        // Skips commands that make a disconnect fail. After a failed disconnect the simulated television would still
        // notify the access object after its destruction, as docs/guarantees.md says.
        if (line.find("disconnect") != std::string::npos) {
            continue;
        }
        mayRunOut |= line.find("throw") != std::string::npos;
        if (!carryOut(console, line, mayRunOut)) {
            return 0;
        }
    }
    checkShown(console);
    return 0;
}
