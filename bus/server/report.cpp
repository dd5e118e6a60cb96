#include "bus/server/report.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <system_error>

#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "television/printable.h"
#include "television/status.h"

namespace bus::server {

void report(std::string const& problem) {
    // A pipe that is ready for writing takes `PIPE_BUF` bytes without blocking.
    std::string const line = television::shortened("nrx_television: " + problem, PIPE_BUF - 4) + '\n';
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) > 0) {
        while (::write(output.fd, line.data(), line.size()) < 0 && errno == EINTR) {
        }
    }
}

void reportObject(std::string const& key, std::string const& problem) {
    report(television::typed(key) + ": " + television::printable(problem));
}

std::string reasonOf(int failure) {
    switch (failure) {
        case -EILSEQ:
            return "found a text that the bus does not carry, expected UTF-8 without zero bytes and noncharacters";
        case -EMSGSIZE:
            return "found more than the bus carries, expected at most " +
                   std::to_string(MAX_MESSAGE_BYTES / 1024 / 1024) + " MiB";
        default:
            return std::generic_category().message(-failure);
    }
}

int refuseUnread(sd_bus_error* error, std::string const& key, int failure) {
    if (failure != -EMSGSIZE) {
        return failure;
    }
    reportObject(key, "a call is refused: " + reasonOf(failure));
    return setStatusError(error, television::STATUS_NOT_CARRIED);
}

}  // namespace bus::server
