#include "tools/nrx_television/emitter.h"

#include <cerrno>
#include <system_error>

#include "television/printable.h"
#include "television/status.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/words.h"

namespace nrx_television {

void complain(std::string const& key, std::string const& what) {
    nrx_console::printLineIfRead("nrx_television: " + nrx_console::typed(key) + ": " + television::printable(what),
                                 nrx_console::Kind::error);
}

std::string reasonOf(int failure) {
    switch (failure) {
        case -EILSEQ:
            return "found a text that the bus does not carry, expected UTF-8 without zero bytes and noncharacters";
        case -EMSGSIZE:
            return "found more than the bus carries, expected at most " +
                   std::to_string(bus::MOST_BYTES / 1024 / 1024) + " MiB";
        default:
            return std::generic_category().message(-failure);
    }
}

int refuseUnread(sd_bus_error* error, std::string const& key, int failure) {
    if (failure != -EMSGSIZE) {
        return failure;
    }
    complain(key, "a call is refused: " + reasonOf(failure));
    return bus::refuse(error, television::STATUS_NOT_CARRIED);
}

}  // namespace nrx_television
