#pragma once

#include <string>

#include "objbus/table.h"

namespace objbus {

/// The table iterator of the televisions here. Each operation is answered later, on the delivery thread, by the
/// notification named beside it; a row outside the table is answered with -1, or with no row. The cursor
/// starts on row 0; a seek that fails leaves it on no row, and reading does not move it.
///
/// `destroyIterator` refuses the pointer to an iterator that is destroyed already. Until 1,000 others of its table have
/// been destroyed, no newer iterator has that address, and its operations do nothing. After that the pointer must not
/// be used.
class __attribute__((visibility("default"))) TableIterator {
public:
    TableIterator(TableIterator const&) = delete;
    TableIterator& operator=(TableIterator const&) = delete;

    virtual void requestTotalCount() = 0;                        ///< `notifyTotalCount`
    virtual void seekToRow(int row) = 0;                         ///< `notifySeekToRow`, then `notifyCursorPosition`
    virtual void seekToContent(std::string const& content) = 0;  ///< `notifySeekToContent`: the first row holding it
    virtual void readRow() = 0;                                  ///< `notifyReadRow`: the row under the cursor
    virtual void readRowChunk(int count) = 0;                    ///< `notifyReadRowChunk`: from the cursor on
    virtual void commit() = 0;                                   ///< `notifyCommit` with 0

protected:
    TableIterator() = default;
    ~TableIterator() = default;
};

}  // namespace objbus
