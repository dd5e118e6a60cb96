// The television that another program has, on a bus of its own.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "bus/bus_platform.h"
#include "child.h"
#include "driven_bus.h"
#include "television/status.h"
#include "tools/nrx_console/words.h"

namespace driven {

namespace {

using nrx_console::typed;
using nrx_console::Words;
using Json = nlohmann::json;

/// A value as it is typed: a list as its elements' words, a row as one word.
std::string wordsOf(Json const& value) {
    std::string words;
    for (Json const& element : value.is_array() ? value : Json::array({value})) {
        words += (element.is_array()    ? typed(wordsOf(element))
                  : element.is_string() ? typed(element.get<std::string>())
                                        : element.dump()) +
                 ' ';
    }
    return words;
}

/// There is one while tests run, and not while they are listed.
struct Television : ::testing::Environment {
    // What is thrown ends the program: tests that were skipped would not count.
    void SetUp() noexcept override {  // NOLINT(bugprone-exception-escape)
        startBus();
        ::setenv("NRX_BUS_ADDRESS", address.c_str(), 1);
        startProgram();
    }
    void TearDown() override {
        EXPECT_EQ(program ? program->end(SIGTERM) : -1, 0);
        bus.reset();
    }

    void startBus() { bus = test::startBus(address); }
    void startProgram() {
        auto list = Json::array();
        for (auto const& [key, object] : objects) {
            list.push_back(object);
            list.back()["key"] = key;
        }
        program = test::startTelevision(NRX_TELEVISION, address, Json{{"objects", list}}.dump());
    }

    /// Returns when the program has carried the line out: what is published then may have to come to the bus yet.
    void command(std::string const& line) {
        if (!program) {
            return;
        }
        // What the test did before comes to the platform's threads by way of another process. A thread sanitizer does
        // not see that way; it sees this one.
        std::map<std::string, objbus::ObjectTypeSpec> listed;
        bus::listObjects(listed);
        std::string const mark = "# " + std::to_string(++marks);
        program->write(line + '\n' + mark + '\n');
        for (std::string printed; (printed = program->readLine()) != mark;) {
            if (printed.starts_with("television: ")) {
                arguments.clear();
            } else if (printed.starts_with("  ")) {
                arguments.push_back(printed.substr(2));
            }
        }
    }

    void publish(Key key, char const* type, Json const& value) {
        objects[key] = {{"type", type}, {"value", value}};
        command("tv publish " + typed(key) + ' ' + type + ' ' + wordsOf(value));
        command("wait");
    }
    void set(Key key, Json const& value) {
        objects[key]["value"] = value;
        command("tv set " + typed(key) + ' ' + wordsOf(value));
    }

    std::string address;
    std::unique_ptr<test::Child> bus;
    std::unique_ptr<test::Child> program;  ///< Null while it is off.
    std::map<std::string, Json> objects;   ///< What it has when it starts.
    Words arguments;
    int marks = 0;
};

auto& tv = static_cast<Television&>(*::testing::AddGlobalTestEnvironment(new Television));

}  // namespace

bool carriesEveryText() { return false; }

void publish(Key key, television::Value const& value) {
    constexpr char const* TYPES[] = {"integer", "int64", "string", "integer-list", "string-list"};
    std::visit([&](auto const& typed) { tv.publish(key, TYPES[value.index()], typed); }, value);
}
void publishTable(Key key, television::Rows const& rows) { tv.publish(key, "table", rows); }
void publishAction(Key key) {
    tv.objects[key] = {{"type", "action"}};
    tv.command("tv publish " + typed(key) + " action");
    tv.command("wait");
}
void withdraw(Key key) {
    tv.objects.erase(key);
    tv.command("tv withdraw " + typed(key));
}
void set(Key key, television::Value const& value) {
    std::visit([&](auto const& typed) { tv.set(key, typed); }, value);
}
void setRows(Key key, television::Rows const& rows) { tv.set(key, rows); }

void answerWith(Answer const& answer) {
    auto const* const texts = std::get_if<Words>(&answer);
    auto const* const error = std::get_if<int>(&answer);
    tv.command("tv answer " + (texts != nullptr   ? "result " + typed(*texts)
                               : error != nullptr ? "error " + std::to_string(*error)
                                                  : "none"));
}
void failInvokes(Key key, int status) { tv.command("tv fail invoke " + typed(key) + ' ' + std::to_string(status)); }
void failReads(Key key, int status) { tv.command("tv fail read " + typed(key) + ' ' + std::to_string(status)); }

std::vector<std::string> lastArguments() { return tv.arguments; }

void kill() {
    tv.program->end(SIGKILL);
    tv.program.reset();
    test::awaitStatus(television::STATUS_NO_TELEVISION);
}

void killBus() {
    tv.bus->end(SIGKILL);
    tv.bus.reset();
    tv.program.reset();  // It has ended by itself.
    test::awaitStatus(television::STATUS_NO_BUS);
}

void start() {
    tv.bus ? void() : tv.startBus();
    tv.startProgram();
    test::awaitStatus(television::STATUS_OK);
    settleAgain();
}

void settleAgain() {
    for (int questions = 0; questions < 3; ++questions) {
        settle();
    }
}

void settle() {
    tv.command("wait");
    EXPECT_EQ(bus::waitUntilDelivered(), 0);
}

}  // namespace driven
