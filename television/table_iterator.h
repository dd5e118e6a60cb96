#pragma once

#include <string>

#include "objbus/table.h"

namespace objbus {

/// The table iterator of the televisions. The result of an operation arrives later, on the delivery thread, in the
/// notification that the comment beside the operation names. The cursor starts on row 0. A failed seek has the result
/// -1 and leaves the cursor on no row. A read without a row under the cursor has an empty result. Reads do not move the
/// cursor.
///
/// `destroyIterator` refuses the pointer of a destroyed iterator. Until the table has destroyed 1,000 further
/// iterators, no newer iterator has the same address, and operations through the pointer do nothing. After that the
/// pointer must not be used.
class __attribute__((visibility("default"))) TableIterator {
public:
    TableIterator(TableIterator const&) = delete;
    TableIterator& operator=(TableIterator const&) = delete;

    virtual void requestTotalCount() = 0;                        ///< `notifyTotalCount`
    virtual void seekToRow(int row) = 0;                         ///< `notifySeekToRow`, then `notifyCursorPosition`
    virtual void seekToContent(std::string const& content) = 0;  ///< `notifySeekToContent`: the first matching row
    virtual void readRow() = 0;                                  ///< `notifyReadRow`: the row under the cursor
    virtual void readRowChunk(int count) = 0;                    ///< `notifyReadRowChunk`: from the cursor on
    virtual void commit() = 0;                                   ///< `notifyCommit` with 0

protected:
    TableIterator() = default;
    ~TableIterator() = default;
};

}  // namespace objbus
