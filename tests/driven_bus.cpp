// The television of a program of its own, on a bus of its own.

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "bus/bus_platform.h"
#include "driven_television.h"
#include "tools/nrx_console/words.h"

namespace driven {

namespace {

using nrx_console::typed;
using nrx_console::Words;

/// A program that ends with the tests, however they end. Its standard input and output are ours.
class Child {
public:
    explicit Child(Words words) {
        int ends[2]{};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::system_error(errno, std::generic_category(), "socketpair");
        }
        socket_ = ends[0];
        std::vector<char*> arguments;
        std::transform(words.begin(), words.end(), std::back_inserter(arguments), [](auto& word) { return &word[0]; });
        arguments.push_back(nullptr);
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

    /// Asks it to end, and returns the status that `waitpid` has of it.
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
            ssize_t const sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0) {
                throw std::system_error(errno, std::generic_category(), "a program of the tests has ended");
            }
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

    /// The next line that it prints; empty at the end of them.
    std::optional<std::string> readLine() {
        std::size_t end = 0;
        while ((end = printed_.find('\n')) == std::string::npos) {
            char piece[4096];
            ssize_t const size = ::recv(socket_, piece, sizeof piece, 0);
            if (size <= 0) {
                return {};
            }
            printed_.append(piece, static_cast<std::size_t>(size));
        }
        std::string line = printed_.substr(0, end);
        printed_.erase(0, end + 1);
        return line;
    }

private:
    int socket_ = -1;
    pid_t id_ = -1;
    std::string printed_;
};

class BusTelevision {
public:
    BusTelevision() {
        while (auto const line = program_.readLine()) {
            if (line->starts_with("serving nrx.Television1")) {
                ::setenv("NRX_BUS_ADDRESS", address_.c_str(), 1);
                return;
            }
        }
        throw std::runtime_error("the television does not serve");
    }

    void command(Words const& words) const { program_.write(typed(words) + "\n"); }

    void settle() {
        std::string const mark = "# " + std::to_string(++marks_);
        program_.write("wait\n" + mark + "\n");
        std::unique_lock lock(mutex_);
        marked_.wait(lock, [&] { return ended_ || lastMark_ == mark; });
        if (ended_ || bus::waitUntilDelivered() != 0) {
            throw std::runtime_error("the television has ended, or does not settle");
        }
    }

    std::vector<std::string> lastArguments() {
        std::lock_guard const lock(mutex_);
        return arguments_;
    }

    int end() { return program_.end(); }

private:
    /// Takes what the program prints, which would wait for that.
    void listen() {
        while (auto const line = program_.readLine()) {
            std::lock_guard const lock(mutex_);
            if (line->starts_with("# ")) {
                lastMark_ = *line;
            } else if (line->starts_with("television: ")) {
                arguments_.clear();
            } else if (line->starts_with("  ")) {
                arguments_.push_back(line->substr(2));
            }
            marked_.notify_all();
        }
        std::lock_guard const lock(mutex_);
        ended_ = true;
        marked_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable marked_;
    std::string lastMark_;
    std::vector<std::string> arguments_;
    bool ended_ = false;
    int marks_ = 0;
    Child daemon_{{"dbus-daemon", "--session", "--nofork", "--print-address"}};
    std::string const address_ = daemon_.readLine().value();
    Child program_{{NRX_TELEVISION, "--address", address_, "--model", NRX_EMPTY_MODEL, "--commands"}};
    std::jthread listener_;
};

std::unique_ptr<BusTelevision> tv;

/// There is one while tests run: not while they are listed.
struct Environment : ::testing::Environment {
    void SetUp() override { tv = std::make_unique<BusTelevision>(); }
    void TearDown() override {
        EXPECT_EQ(tv ? tv->end() : -1, 0);
        tv.reset();
    }
};
::testing::Environment* const environment = ::testing::AddGlobalTestEnvironment(new Environment);

Words operator+(Words first, Words const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

template <typename T>
std::string wordOf(T const& value) {
    if constexpr (std::is_same_v<T, std::string>) {
        return value;
    } else {
        return std::to_string(value);
    }
}

template <typename T>
Words wordsOf(T const& value) {
    return {wordOf(value)};
}

template <typename T>
Words wordsOf(std::vector<T> const& values) {
    Words words;
    std::transform(values.begin(), values.end(), std::back_inserter(words), wordOf<T>);
    return words;
}

Words wordsOf(television::Value const& value) {
    return std::visit([](auto const& typedValue) { return wordsOf(typedValue); }, value);
}

Words wordsOf(television::Rows const& rows) {
    Words words;
    for (auto const& row : rows) {
        words.push_back(typed(row));
    }
    return words;
}

void settleAfter(Words const& words) {
    tv->command(words);
    tv->settle();
}

}  // namespace

bool carriesEveryText() { return false; }

void publish(Key key, television::Value const& value) {
    constexpr char const* TYPES[] = {"integer", "int64", "string", "integer-list", "string-list"};
    settleAfter(Words{"tv", "publish", key, TYPES[value.index()]} + wordsOf(value));
}

void publishTable(Key key, television::Rows const& rows) {
    settleAfter(Words{"tv", "publish", key, "table"} + wordsOf(rows));
}

void publishAction(Key key) { settleAfter({"tv", "publish", key, "action"}); }
void withdraw(Key key) { settleAfter({"tv", "withdraw", key}); }

void set(Key key, television::Value const& value) { tv->command(Words{"tv", "set", key} + wordsOf(value)); }
void setRows(Key key, television::Rows const& rows) { tv->command(Words{"tv", "set", key} + wordsOf(rows)); }

void answerWith(Answer const& answer) {
    if (auto const* const results = std::get_if<std::vector<std::string>>(&answer)) {
        settleAfter(Words{"tv", "answer", "result"} + *results);
    } else if (auto const* const error = std::get_if<int>(&answer)) {
        settleAfter({"tv", "answer", "error", std::to_string(*error)});
    } else {
        settleAfter({"tv", "answer", "none"});
    }
}

void failInvokes(Key key, int status) { settleAfter({"tv", "fail", "invoke", key, std::to_string(status)}); }
void failReads(Key key, int status) { settleAfter({"tv", "fail", "read", key, std::to_string(status)}); }

std::vector<std::string> lastArguments() { return tv->lastArguments(); }

void settle() { tv->settle(); }

}  // namespace driven
