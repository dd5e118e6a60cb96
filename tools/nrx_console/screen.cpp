#include "tools/nrx_console/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <limits>
#include <string_view>

namespace nrx_console {

namespace {

/// The line in the colour of its kind, unless the user wants no colours: https://no-color.org.
std::string coloured(std::string const& line, LineKind kind) {
    constexpr char const* COLOURS[] = {"", "\x1b[1;31m", "\x1b[31m", "\x1b[36m", "\x1b[2m"};  // Indexed by kind.
    char const* const unwanted = std::getenv("NO_COLOR");
    if (kind == LineKind::ordinary || (unwanted != nullptr && *unwanted != '\0')) {
        return line;
    }
    return COLOURS[static_cast<std::size_t>(kind)] + line + "\x1b[0m";
}

/// The number of columns that the text occupies on the screen.
std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    std::mbstate_t shift{};
    while (!text.empty()) {
        wchar_t character = 0;
        std::size_t const size = std::mbrtowc(&character, text.data(), text.size(), &shift);
        bool const isCharacter = size > 0 && size <= text.size();
        columns += isCharacter ? static_cast<std::size_t>(std::max(wcwidth(character), 0)) : 1U;
        shift = isCharacter ? shift : std::mbstate_t{};
        text.remove_prefix(isCharacter ? size : 1);
    }
    return columns;
}

/// Breaks the line into several at the screen's width, after a word or a bar. If the line has two adjacent blanks, each
/// further line begins in the column of the first text after these blanks. If there are no such blanks, or this column
/// is too far right, each further line begins with two blanks.
std::string wrapped(std::string_view line, std::size_t width) {
    // The further lines begin in the column of the text only if the screen has more than this number of columns there.
    constexpr std::size_t NARROWEST = 20;
    std::size_t const gap = std::min(line.find("  "), line.size());
    std::size_t const text = std::min(line.find_first_not_of(' ', gap), line.size());
    std::string const lineBreak = "\n" + std::string(gap < line.size() && text + NARROWEST < width ? text : 2, ' ');
    std::string result;
    std::size_t column = 0;
    while (!line.empty()) {
        std::size_t const wordEnd = std::min(line.find_first_of(" |"), line.size() - 1) + 1;
        std::string_view const word = line.substr(0, wordEnd);
        std::size_t const columns = columnsOf(word);
        bool const isFull = column + columns - (word.ends_with(' ') ? 1 : 0) > width;
        if (isFull && column > lineBreak.size() - 1) {
            result.erase(result.find_last_not_of(' ') + 1);
            result += lineBreak;
            column = lineBreak.size() - 1;
        }
        result += word;
        column += columns;
        line.remove_prefix(wordEnd);
    }
    return result;
}

std::size_t widthOf(int terminal) {
    winsize size{};
    bool const isKnown = ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : std::numeric_limits<std::size_t>::max();
}

}  // namespace

std::string colourAndWrapIfTerminal(std::string const& line, LineKind kind) {
    int const output = kind == LineKind::ordinary ? STDOUT_FILENO : STDERR_FILENO;
    return isatty(output) != 0 ? coloured(wrapped(line, widthOf(output)), kind) : line;
}

}  // namespace nrx_console
