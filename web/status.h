#pragma once

#include <cstddef>

namespace web {

/// What `nrx` rejects with beside the statuses of the library and of the television.
enum Status : int {
    STATUS_TOO_LARGE = 127,       ///< The list has more than `MOST_BYTES`.
    STATUS_TOO_MANY_CALLS = 128,  ///< `MOST_CALLS` calls of the document wait already.
    STATUS_PAGE_GONE = 129,       ///< The document was left before the answer came.
};

/// The bytes of a list that a page may write. A text counts its bytes in UTF-8, an empty one counts one.
inline constexpr std::size_t MOST_BYTES = std::size_t{1} << 20U;

/// The calls of one document that may wait for their answers.
inline constexpr std::size_t MOST_CALLS = 1000;

}  // namespace web
