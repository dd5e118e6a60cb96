#pragma once

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bus/bus_platform.h"

namespace test {

/// A child process, which the kernel ends when this process ends. A socket is the child's standard input and output.
class ChildProcess {
public:
    explicit ChildProcess(std::vector<std::string> words) {
        int ends[2]{};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::runtime_error("no socket for " + words.front());
        }
        std::vector<char*> arguments;
        std::transform(words.begin(), words.end(), std::back_inserter(arguments), [](auto& word) { return &word[0]; });
        arguments.push_back(nullptr);
        inputAndOutput_ = ends[0];
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
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;
    ~ChildProcess() {
        end(SIGTERM);
        ::close(inputAndOutput_);
    }

    [[nodiscard]] pid_t id() const { return id_; }

    /// Sends the signal, waits, and returns the wait status: 0 if the child exited with 0.
    int end(int signal) {
        int status = 0;
        if (id_ > 0) {
            ::kill(id_, signal);
            ::waitpid(std::exchange(id_, -1), &status, 0);
        }
        return status;
    }

    void write(std::string_view text) const {
        checkedCount(::send(inputAndOutput_, text.data(), text.size(), MSG_NOSIGNAL));
    }

    std::string readLine() {
        while (unreadOutput_.find('\n') == std::string::npos) {
            char piece[4096];
            unreadOutput_.append(piece, checkedCount(::recv(inputAndOutput_, piece, sizeof piece, 0)));
        }
        std::string line = unreadOutput_.substr(0, unreadOutput_.find('\n'));
        unreadOutput_.erase(0, line.size() + 1);
        return line;
    }

private:
    static std::size_t checkedCount(ssize_t bytes) {
        return bytes > 0 ? static_cast<std::size_t>(bytes) : throw std::runtime_error("a program has ended too early");
    }

    int inputAndOutput_ = -1;
    pid_t id_ = -1;
    std::string unreadOutput_;
};

/// Starts a bus at the address. If the address is empty, sets it to a new address, at which a later bus can start.
inline std::unique_ptr<ChildProcess> startBus(std::string& address) {
    std::string const option = "--address=" + (address.empty() ? "unix:tmpdir=/tmp" : address);
    auto bus = std::make_unique<ChildProcess>(
        std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address", option});
    std::string const printed = bus->readLine();
    address = printed.substr(0, printed.find(','));  // Drops the bus's identifier: a later bus has another.
    return bus;
}

/// Starts a television with the objects of a model file, and returns when the television serves.
inline std::unique_ptr<ChildProcess> startTelevision(std::string const& program, std::string const& address,
                                                     std::string const& modelText) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(std::tmpfile(), std::fclose);
    if (!file || std::fputs(modelText.c_str(), file.get()) < 0 || std::fflush(file.get()) != 0) {
        throw std::runtime_error("no file for a model");
    }
    std::string const path = "/proc/self/fd/" + std::to_string(::fileno(file.get()));  // The program inherits the file.
    auto television = std::make_unique<ChildProcess>(
        std::vector<std::string>{program, "--address", address, "--model", path, "--commands"});
    while (!television->readLine().starts_with("serving nrx.Television1")) {
    }
    return television;
}

/// Returns when `waitUntilDelivered` returns the status. The observers have then received all earlier notifications.
inline void waitForTelevisionStatus(int status) {
    while (bus::waitUntilDelivered() != status) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace test
