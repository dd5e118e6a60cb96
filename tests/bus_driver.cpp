// Drives a television that runs in a child process on a private bus.

#include <csignal>
#include <nlohmann/json.hpp>

#include "bus/bus_platform.h"
#include "child_process.h"
#include "television_driver.h"
#include "tools/nrx_console/words.h"

namespace driver {

namespace {

using nrx_console::typed;
using nrx_console::Words;
using Json = nlohmann::json;

/// Returns the console's words for a value: one word for each element of a list or each row of a table.
std::string wordsOf(Json const& value) {
    std::string words;
    for (Json const& element : value.is_array() ? value : Json::array({value})) {
        std::string const text = element.is_string() ? element.get<std::string>() : element.dump();
        words += typed(element.is_array() ? wordsOf(element) : text) + ' ';
    }
    return words;
}

/// The bus and the television's program. Both run while tests run, but not while the tests are listed.
struct Television : ::testing::Environment {
    // An exception ends the test program. Otherwise all tests would be skipped and would count as passed.
    void SetUp() noexcept override {  // NOLINT(bugprone-exception-escape)
        start();
        ::setenv("NRX_BUS_ADDRESS", address.c_str(), 1);
    }
    void TearDown() override {
        EXPECT_EQ(program ? program->end(SIGTERM) : -1, 0);
        bus.reset();
    }

    void start() {
        bus = bus ? std::move(bus) : test::startBus(address);
        auto list = Json::array();
        for (auto const& [key, object] : objects) {
            list.push_back(object);
        }
        program = test::startTelevision(NRX_TELEVISION, address, Json{{"objects", list}}.dump());
    }

    /// Sends the line and returns when the program has executed the line. The line's changes may not be on the bus yet.
    void command(std::string const& line) {
        if (!program) {
            return;
        }
        // This thread and the platform's threads use the same memory, one after the other, because the television's
        // process answers in between. ThreadSanitizer does not see an order that another process makes. `listObjects`
        // waits for a platform's thread, and ThreadSanitizer sees this wait.
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

    void publish(Key key, Json object) {
        std::string const type = object["type"];
        command("tv publish " + typed(key) + ' ' + type + ' ' + wordsOf(object.value("value", Json::array())));
        command("wait");
        object["key"] = key;
        objects[key] = std::move(object);
    }
    void set(Key key, Json const& value) {
        objects[key]["value"] = value;
        command("tv set " + typed(key) + ' ' + wordsOf(value));
    }

    std::string address;
    std::unique_ptr<test::ChildProcess> bus;
    std::unique_ptr<test::ChildProcess> program;  ///< Null while the television is off.
    std::map<std::string, Json> objects;          ///< The objects of the model file that the next television reads.
    Words arguments;
    int marks = 0;
};

auto& tv = static_cast<Television&>(*::testing::AddGlobalTestEnvironment(new Television));

}  // namespace

bool supportsArbitraryText() { return false; }

void publish(Key key, television::Value const& value) {
    constexpr char const* TYPES[] = {"integer", "int64", "string", "integer-list", "string-list"};
    std::visit([&](auto const& plain) { tv.publish(key, {{"type", TYPES[value.index()]}, {"value", plain}}); }, value);
}
void publishTable(Key key, television::Rows const& rows) { tv.publish(key, {{"type", "table"}, {"value", rows}}); }
void publishAction(Key key) { tv.publish(key, {{"type", "action"}}); }
void withdraw(Key key) {
    tv.objects.erase(key);
    tv.command("tv withdraw " + typed(key));
}
void set(Key key, television::Value const& value) {
    std::visit([&](auto const& typed) { tv.set(key, typed); }, value);
}
void setRows(Key key, television::Rows const& rows) { tv.set(key, rows); }

void setInvokeAnswer(Answer const& answer) {
    auto const* const texts = std::get_if<Words>(&answer);
    auto const* const error = std::get_if<int>(&answer);
    tv.command("tv answer " + (texts != nullptr   ? "result " + typed(*texts)
                               : error != nullptr ? "error " + std::to_string(*error)
                                                  : "none"));
}
void failInvokes(Key key, int status) { tv.command("tv fail invoke " + typed(key) + ' ' + std::to_string(status)); }
void failReads(Key key, int status) { tv.command("tv fail read " + typed(key) + ' ' + std::to_string(status)); }

std::vector<std::string> lastInvokeArguments() { return tv.arguments; }

void killTelevision() {
    tv.program->end(SIGKILL);
    tv.program.reset();
    test::waitForTelevisionStatus(television::STATUS_NO_TELEVISION);
}

void killBus() {
    tv.bus->end(SIGKILL);
    tv.bus.reset();
    tv.program.reset();  // The program ends when its bus is lost.
    test::waitForTelevisionStatus(television::STATUS_NO_BUS);
}

void restartAfterLoss() {
    tv.start();
    test::waitForTelevisionStatus(television::STATUS_OK);
    waitForNotificationsAndResyncs();
}

void waitForNotificationsAndResyncs() {
    for (int questions = 0; questions < 3; ++questions) {
        waitForNotifications();
    }
}

void waitForNotifications() {
    tv.command("wait");
    EXPECT_EQ(bus::waitUntilDelivered(), 0);
}

}  // namespace driver
