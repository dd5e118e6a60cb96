#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace television {

/// Returns the text in a form that is safe on a terminal. Printable characters in well-formed UTF-8 stay unchanged.
/// Each byte of control characters, bidirectional controls, line and paragraph separators and invalid UTF-8 becomes
/// `\n`, `\r`, `\t` or `\xHH`.
__attribute__((visibility("default"))) std::string printable(std::string_view text);

/// Returns the printable text in quotes, with a backslash before quotes and backslashes. Different texts
/// have different results.
__attribute__((visibility("default"))) std::string quoted(std::string_view text);

/// Returns the text as one word of a console command. The word has quotes only if necessary.
__attribute__((visibility("default"))) std::string typed(std::string const& text);

/// Returns a text of at most `most` bytes unchanged. Cuts a longer text after at most `most` bytes, between two
/// characters, and appends three dots.
__attribute__((visibility("default"))) std::string shortened(std::string text, std::size_t most);

}  // namespace television
