// The television that another program has, on a bus of its own.

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

#include "bus/bus_platform.h"
#include "driven_television.h"
#include "tools/nrx_console/words.h"

namespace driven {

namespace {

using nrx_console::typed;
using nrx_console::Words;

/// A program that ends with the tests, however they end. Its standard input and output are here.
class Child {
public:
    explicit Child(Words words) {
        int ends[2]{};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::runtime_error("no socket for " + words.front());
        }
        std::vector<char*> arguments;
        std::transform(words.begin(), words.end(), std::back_inserter(arguments), [](auto& word) { return &word[0]; });
        arguments.push_back(nullptr);
        socket_ = ends[0];
        id_ = ::fork();
        if (id_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGTERM);
            ::dup2(ends[1], STDIN_FILENO);
            ::dup2(ends[1], STDOUT_FILENO);
            ::execvp(arguments[0], arguments.data());
            ::_exit(127);
        }
        ::close(ends[1]);
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;
    ~Child() {
        end();
        ::close(socket_);
    }

    /// Asks it to end, and returns what has become of it: 0 when that went well.
    int end() {
        int status = 0;
        if (id_ > 0) {
            ::kill(id_, SIGTERM);
            ::waitpid(std::exchange(id_, -1), &status, 0);
        }
        return status;
    }

    void write(std::string_view text) const {
        while (!text.empty()) {
            text.remove_prefix(counted(::send(socket_, text.data(), text.size(), MSG_NOSIGNAL)));
        }
    }

    std::string readLine() {
        while (printed_.find('\n') == std::string::npos) {
            char piece[4096];
            printed_.append(piece, counted(::recv(socket_, piece, sizeof piece, 0)));
        }
        std::string line = printed_.substr(0, printed_.find('\n'));
        printed_.erase(0, line.size() + 1);
        return line;
    }

private:
    static std::size_t counted(ssize_t bytes) {
        return bytes > 0 ? static_cast<std::size_t>(bytes) : throw std::runtime_error("a program has ended too early");
    }

    int socket_ = -1;
    pid_t id_ = -1;
    std::string printed_;
};

/// There is one while tests run, and not while they are listed.
struct Television : ::testing::Environment {
    void SetUp() override {
        bus = std::make_unique<Child>(Words{"dbus-daemon", "--session", "--nofork", "--print-address"});
        std::string const address = bus->readLine();
        ::setenv("NRX_BUS_ADDRESS", address.c_str(), 1);
        program = std::make_unique<Child>(
            Words{NRX_TELEVISION, "--address", address, "--model", NRX_EMPTY_MODEL, "--commands"});
        while (!program->readLine().starts_with("serving nrx.Television1")) {
        }
    }
    void TearDown() override {
        EXPECT_EQ(program ? program->end() : -1, 0);
        bus.reset();
    }

    /// Returns when the program has carried the line out: what is published then may have to come to the bus yet.
    void command(std::string const& line) {
        // What the test did before comes to the platform's threads by way of another process. A thread sanitizer does
        // not see that way; it sees this one.
        std::map<std::string, objbus::ObjectTypeSpec> objects;
        bus::listObjects(objects);
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

    void publish(Key key, std::string const& content) {
        command("tv publish " + typed(key) + ' ' + content);
        command("wait");
    }

    std::unique_ptr<Child> bus;
    std::unique_ptr<Child> program;
    Words arguments;
    int marks = 0;
};

auto& tv = static_cast<Television&>(*::testing::AddGlobalTestEnvironment(new Television));

std::string typed(television::Value const& value) {
    if (auto const* const integers = std::get_if<std::vector<int>>(&value)) {
        std::string words;
        for (int const integer : *integers) {
            words += std::to_string(integer) + ' ';
        }
        return words;
    }
    auto const* const integer = std::get_if<int>(&value);
    auto const* const int64 = std::get_if<long long>(&value);
    auto const* const text = std::get_if<std::string>(&value);
    return integer != nullptr ? std::to_string(*integer)
           : int64 != nullptr ? std::to_string(*int64)
           : text != nullptr  ? typed(*text)
                              : typed(std::get<Words>(value));
}

std::string typed(television::Rows const& rows) {
    Words words;
    std::transform(rows.begin(), rows.end(), std::back_inserter(words), [](Words const& row) { return typed(row); });
    return typed(words);
}

}  // namespace

bool carriesEveryText() { return false; }

void publish(Key key, television::Value const& value) {
    constexpr char const* TYPES[] = {"integer ", "int64 ", "string ", "integer-list ", "string-list "};
    tv.publish(key, TYPES[value.index()] + typed(value));
}
void publishTable(Key key, television::Rows const& rows) { tv.publish(key, "table " + typed(rows)); }
void publishAction(Key key) { tv.publish(key, "action"); }
void withdraw(Key key) { tv.command("tv withdraw " + typed(key)); }
void set(Key key, television::Value const& value) { tv.command("tv set " + typed(key) + ' ' + typed(value)); }
void setRows(Key key, television::Rows const& rows) { tv.command("tv set " + typed(key) + ' ' + typed(rows)); }

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

void settle() {
    tv.command("wait");
    EXPECT_EQ(bus::waitUntilDelivered(), 0);
}

}  // namespace driven
