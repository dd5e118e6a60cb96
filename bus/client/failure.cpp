#include "bus/client/failure.h"

#include <cerrno>

#include "television/report.h"
#include "television/status.h"

namespace bus {

namespace {

char const* reasonOf(int status) {
    switch (status) {
        case television::STATUS_NO_TELEVISION:
            return "there is no television";
        case television::STATUS_NOT_PUBLISHED:
        case television::STATUS_WITHDRAWN:
            return "the object was withdrawn";
        case television::STATUS_TOO_MANY:
            return "this process has the maximum number";
        case television::STATUS_NO_BUS:
            return "the bus cannot be reached";
        case television::STATUS_NO_ANSWER:
            return "no reply arrived in time, the television may still carry out the call";
        case television::STATUS_NOT_CARRIED:
            return "the bus cannot carry the content";
        case television::STATUS_NOT_UNDERSTOOD:
            return "the message violates the interface";
        case television::STATUS_DENIED:
            return "the bus or the television denies access";
        case television::STATUS_NO_RESOURCES:
            return "this process has no memory, thread or file descriptor left";
        default:
            return "refused";
    }
}

}  // namespace

void logErrorLine(char const* line) noexcept { television::reportError("BUS", line); }

void reportFailure(std::string const& target, char const* operation, int status) noexcept {
    runNoexcept([&] {
        logErrorLine((target + ": " + operation + " failed, status " + std::to_string(status) + ": " + reasonOf(status))
                         .c_str());
    });
}

int statusOfSendError(int result) {
    switch (result) {
        case -EILSEQ:
        case -EINVAL:  // The path is too long.
        case -EMSGSIZE:
            return television::STATUS_NOT_CARRIED;
        case -ENOMEM:
        case -ENOBUFS:
        case -EMFILE:
        case -ENFILE:
            return television::STATUS_NO_RESOURCES;
        default:
            return television::STATUS_NO_BUS;
    }
}

int statusOfReadError(int result) {
    switch (result) {
        case -EMSGSIZE:
            return television::STATUS_NOT_CARRIED;
        case -ENOMEM:
            return television::STATUS_NO_RESOURCES;
        default:
            return television::STATUS_NOT_UNDERSTOOD;
    }
}

}  // namespace bus
