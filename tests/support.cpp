#include "support.h"

#include <unistd.h>

static std::vector<unsigned int> sleeps;  // Needs no mutex: only the test's thread sleeps.

/// Replaces the C library's function in the whole process, so that a sleep takes no time.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds) {
    sleeps.push_back(microseconds);
    return 0;
}

namespace test {

std::vector<unsigned int> takeSleepMicroseconds() { return std::exchange(sleeps, {}); }

}  // namespace test
