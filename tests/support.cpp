#include "support.h"

#include <unistd.h>

#include <cstdlib>
#include <map>
#include <new>
#include <utility>

namespace {

std::vector<unsigned int> sleeps;       // Only the test's own thread waits.
thread_local int allocationsLeft = -1;  // Until memory runs out; below 0 it does not.
thread_local bool shortageLasts = false;

}  // namespace

/// Stands before the C library's for the whole program, so that waiting costs the tests no time.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds) {
    sleeps.push_back(microseconds);
    return 0;
}

// Stand before the C++ library's for the whole program, its shared libraries included. The forms for arrays and for no
// exceptions end here too. Inlined, they would look mismatched to the compiler.

[[gnu::noinline]] void* operator new(std::size_t size) {
    bool const none = allocationsLeft == 0;
    allocationsLeft -= allocationsLeft > 0 || (none && !shortageLasts) ? 1 : 0;
    void* const memory = none ? nullptr : std::malloc(size != 0 ? size : 1);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace test {

std::vector<unsigned int> takeSleeps() { return std::exchange(sleeps, {}); }

Shortage::Shortage(int allocations, bool lasts) {
    shortageLasts = lasts;
    allocationsLeft = allocations;
}

Shortage::~Shortage() { allocationsLeft = -1; }

Lines operator+(Lines first, Lines const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string joined(std::string text, Strings const& words) {
    for (std::string const& word : words) {
        text += " " + word;
    }
    return text;
}

std::string shown(IValueObject const& value) {
    return std::to_string(value.type()) + " " + value.convertToStringType();
}

Lines Source::traced(std::string const& function, Lines const& inside) const {
    std::string const place = file + ":#:" + function + "() \n";
    return Lines{"DEBUG [TRACE -> " + function + "(IN)] " + place} + inside +
           Lines{"DEBUG [TRACE <- " + function + "(OUT)] " + place};
}

Lines TelevisionTest::logged() {
    static std::map<int, std::string> const names{
        {1, "CRITICAL "}, {1000, "ERROR "}, {4000, "INFO "}, {5000, "DEBUG "}};
    Lines lines;
    for (auto& [severity, text] : log.take()) {
        auto const number = text.find(".cpp:") + 5;
        text.replace(number, text.find(':', number) - number, "#");
        lines.push_back(names.at(severity) + text);
    }
    return lines;
}

}  // namespace test
