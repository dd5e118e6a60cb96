#include "tools/nrx_television/emitter.h"

#include <cerrno>
#include <system_error>

#include "television/printable.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/words.h"

namespace nrx_television {

void complain(std::string const& key, std::string const& what) {
    nrx_console::printLine("nrx_television: " + nrx_console::typed(key) + ": " + television::printable(what),
                           nrx_console::Kind::error);
}

std::string reasonOf(int failure) {
    return failure == -EILSEQ
               ? "found a text that the bus does not carry, expected UTF-8 without zero bytes and noncharacters"
               : std::generic_category().message(-failure);
}

}  // namespace nrx_television
