#include "tools/nrx_console/words.h"

#include <charconv>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <sstream>
#include <utility>

namespace nrx_console {

namespace {

constexpr char COMMAND_KEY[] = "torvi.sl2.vstr.videoplayer.nrx.command";
constexpr char EVENT_KEY[] = "torvi.sl2.vstr.videoplayer.nrx.event";

}  // namespace

std::string keyOf(std::string const& word) {
    if (word == "command") {
        return COMMAND_KEY;
    }
    return word == "event" ? EVENT_KEY : word;
}

bool isSwitchedOn(std::string const& word) {
    if (word != "on" && word != "off") {
        throw CommandError("found \"" + word + "\", expected on or off");
    }
    return word == "on";
}

int numberOf(std::string const& word) {
    using Limits = std::numeric_limits<int>;
    int number = 0;
    char const* const end = word.data() + word.size();
    auto const [last, failure] = std::from_chars(word.data(), end, number);
    if (failure != std::errc() || last != end) {
        throw CommandError("found \"" + word + "\", expected a whole number from " + std::to_string(Limits::min()) +
                           " to " + std::to_string(Limits::max()));
    }
    return number;
}

Words wordsOf(std::string const& line) {
    std::istringstream text(line);
    Words words;
    for (std::string word; text >> std::ws && !text.eof(); words.push_back(word)) {
        if (!(text >> std::quoted(word))) {
            throw CommandError("found a quote that does not end, expected \"");
        }
    }
    return words;
}

std::vector<objbus::Argument> resultsOf(Words const& texts) {
    constexpr std::size_t MOST = std::numeric_limits<std::int8_t>::max() + 1;
    if (texts.size() > MOST) {
        throw CommandError("found " + std::to_string(texts.size()) + " results, expected " + std::to_string(MOST) +
                           " at most");
    }
    std::vector<objbus::Argument> results;
    for (std::string const& text : texts) {
        objbus::Argument result;
        result.index = static_cast<std::int8_t>(results.size());
        result.value = text;
        results.push_back(std::move(result));
    }
    return results;
}

}  // namespace nrx_console
