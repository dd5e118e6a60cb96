#include "television/environment.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "television/printable.h"

namespace television {

void writeToStandardError(std::string_view text) {
    while (::write(STDERR_FILENO, text.data(), text.size()) < 0 && errno == EINTR) {
    }
}

void reportInvalidEnvironmentValue(char const* name, std::string_view value, char const* expected,
                                   char const* fallback) {
    writeToStandardError(std::string(name) + " is " + quoted(value) + ": expected " + expected + "; using " + fallback +
                         "\n");
}

}  // namespace television
