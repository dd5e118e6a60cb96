#pragma once

#include <cstddef>

namespace web {

/// Statuses of `nrx` in addition to those of the library and of the television.
enum Status : int {
    STATUS_TOO_LARGE = 127,       ///< The list has more than `MAX_WRITTEN_LIST_BYTES`.
    STATUS_TOO_MANY_CALLS = 128,  ///< `MAX_PENDING_CALLS` calls of the document are pending.
    STATUS_PAGE_HIDDEN = 129,     ///< The document was hidden before the answer.
};

/// The largest list that a page may write, as the sum of the texts' UTF-8 bytes. An empty text counts as one byte.
inline constexpr std::size_t MAX_WRITTEN_LIST_BYTES = std::size_t{1} << 20U;

/// The largest number of pending calls of one document.
inline constexpr std::size_t MAX_PENDING_CALLS = 1000;

}  // namespace web
