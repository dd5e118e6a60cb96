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

void printError(std::string const& problem) {
    // A pipe that is ready for writing takes `PIPE_BUF` bytes without blocking.
    std::string const line = television::shortened("nrx_television: " + problem, PIPE_BUF - 4) + '\n';
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) > 0) {
        while (::write(output.fd, line.data(), line.size()) < 0 && errno == EINTR) {
        }
    }
}

void printObjectError(std::string const& key, std::string const& problem) {
    printError(television::typed(key) + ": " + television::printable(problem));
}

std::string reasonOf(int negativeErrno) {
    switch (negativeErrno) {
        case -EILSEQ:
            return "found a text that the bus does not carry, expected UTF-8 without zero bytes and noncharacters";
        case -EMSGSIZE:
            return "found more than the bus carries, expected at most " +
                   std::to_string(MAX_MESSAGE_BYTES / 1024 / 1024) + " MiB";
        default:
            return std::generic_category().message(-negativeErrno);
    }
}

int setErrorIfTooLarge(sd_bus_error* error, std::string const& key, int negativeErrno) {
    if (negativeErrno != -EMSGSIZE) {
        return negativeErrno;
    }
    printObjectError(key, "a call is refused: " + reasonOf(negativeErrno));
    return setStatusError(error, television::STATUS_NOT_CARRIED);
}

}  // namespace bus::server
