#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace television {

/// The text as it may be shown on a terminal, whoever wrote it: printable characters in well-formed UTF-8 as they are;
/// every byte of anything else (control characters, bidirectional controls, line and paragraph separators, and what is
/// no UTF-8) as `\n`, `\r`, `\t` or `\xHH`.
__attribute__((visibility("default"))) std::string printable(std::string_view text);

/// The same between quotes, with a backslash before quotes and backslashes: no text is shown like another one.
__attribute__((visibility("default"))) std::string quoted(std::string_view text);

/// The text as a word of a command line: between quotes only when it must be.
__attribute__((visibility("default"))) std::string typed(std::string const& text);

/// The text with at most so many bytes, and dots in the place of the rest.
__attribute__((visibility("default"))) std::string shortened(std::string text, std::size_t most);

}  // namespace television
