#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/detail/connection.h"
#include "client/executor.h"
#include "client/result.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/table_access.h"
#include "television/table_iterator.h"

namespace orvane::client {

/// The texts of one row, in the order of the requested columns.
using Row = std::vector<std::string>;

namespace detail {

/// The access object of a watched table.
class TableWatcher final : public Connection<support::TableAccess, Watch<int>> {
public:
    using Connection::Connection;

    /// Accepts only a table. The base accepts an object of any type.
    int connect(int timeoutMs) override {
        int const status = TableAccess::connect(timeoutMs);
        try {
            if (status != support::STATUS_OK || getType() == objbus::OBJECT_TYPE_TABLE) {
                return status;
            }
        } catch (...) {
            disconnect();
            throw;
        }
        disconnect();
        return support::STATUS_ERR_VALUE_TYPE_MISMATCH;
    }

    void notifyUpdate(int update) override {
        TableAccess::notifyUpdate(update);
        auto const watch = queue;  // The handler may destroy this object.
        watch->notify(update);
    }
};

/// Reads a table page by page, through its own iterator.
class PageReader final : public support::IteratorAccess, private Retained {
public:
    PageReader(std::string const& key, std::vector<int> const& columnsToRead, int rowsPerPage, milliseconds timeout)
        : IteratorAccess(key, nullptr, {}, {}, columnsToRead, {}),
          pageSize_(std::max(rowsPerPage, 1)),
          timeout_(timeout) {}

    /// Returns the current row, or null at the end.
    [[nodiscard]] Row const* row() const { return index_ < page_.size() ? &page_[index_] : nullptr; }
    [[nodiscard]] Result<void> const& result() const { return result_; }

    void advance() {
        if (++index_ >= page_.size() && !isLast_) {
            index_ = 0;
            result_ = readPage();
            isLast_ = page_.empty();  // More rows may follow a page that has fewer rows than requested.
        }
    }

    void notifyReadRowChunk(std::vector<Row const*> const& rows) override {
        IteratorAccess::notifyReadRowChunk(rows);
        std::vector<Row> page;
        page.reserve(rows.size());
        for (Row const* const row : rows) {
            page.push_back(*row);
        }
        std::lock_guard const lock(mutex_);
        arrived_ = std::move(page);
        changed_.notify_all();
    }
    void notifyIteratorReady(int status) override {
        IteratorAccess::notifyIteratorReady(status);
        std::lock_guard const lock(mutex_);
        status_ = status;
        changed_.notify_all();
    }

    /// Destroys the iterator and the reader.
    struct End {
        void operator()(PageReader* reader) const {
            if (reader->destroyNow()) {
                delete reader;
            } else {
                reader->keepForever();
            }
        }
    };

private:
    /// Replaces the page by the next page. At the end and after a failure, the page is empty.
    Result<void> readPage() {
        page_.clear();
        if (isNotified) {
            return Failure{"rows", name, Cause::WOULD_DEADLOCK};
        }
        if (int const status = iterator == nullptr ? create() : 0; status != support::STATUS_OK) {
            return Failure{"rows", name, Cause::STATUS, status};
        }
        if (iterator == nullptr) {
            return Failure{"rows", name, Cause::NO_ITERATOR};
        }
        iterator->seekToRow(nextRow_);
        iterator->readRowChunk(pageSize_);
        std::unique_lock lock(mutex_);
        changed_.wait_until(lock, deadlineAfter(timeout_),
                            [this] { return arrived_ || status_ != support::STATUS_OK; });
        if (!arrived_) {
            bool const isLost = status_ != support::STATUS_OK;
            return Failure{"rows", name, isLost ? Cause::STATUS : Cause::NO_ANSWER, status_};
        }
        page_ = *std::exchange(arrived_, std::nullopt);
        nextRow_ += static_cast<int>(page_.size());
        return {};
    }

    /// Returns false if the model may still notify this object.
    bool destroyNow() noexcept {
        try {
            if (iterator != nullptr && tableAccess->getAccess()->destroyIterator(iterator) != support::STATUS_OK) {
                return false;
            }
            iterator = nullptr;
        } catch (...) {  // The television's platform library threw.
            return false;
        }
        if (tableAccess != nullptr && endRegistration(*this, name, tableAccess.get(), tableAccess->getAccess())) {
            delete tableAccess.release();  // `TableRelease` would disconnect once more.
        }
        return tableAccess == nullptr;
    }

    int const pageSize_;
    milliseconds const timeout_;
    std::vector<Row> page_;
    std::size_t index_ = 0;
    int nextRow_ = 0;  ///< The first row of the next page.
    bool isLast_ = false;
    Result<void> result_;

    std::mutex mutex_;
    std::condition_variable changed_;
    // The mutex guards the next two members.
    std::optional<std::vector<Row>> arrived_;
    int status_ = support::STATUS_OK;  ///< The status of the iterator.
};

}  // namespace detail

/// The rows of a table, for one range-based `for` on one thread. The loop waits for each page.
class Rows {
public:
    /// The end of the rows.
    struct End {};
    /// The position of a row.
    struct Iterator {
        detail::PageReader& reader;                                             ///< Has the row.
        Row const& operator*() const { return *reader.row(); }                  ///< Valid until `++`.
        void operator++() { reader.advance(); }                                 ///< May read a page.
        bool operator!=(End /*end*/) const { return reader.row() != nullptr; }  ///< Whether there is a row.
    };

    /// Called by `Table::rows`.
    explicit Rows(detail::PageReader* reader) : reader_(reader) {}

    /// Reads the first page.
    Iterator begin() {
        reader_->advance();
        return {*reader_};
    }
    End end() const { return {}; }  ///< Reached after the last row, or after a failure.

    /// After the loop: whether all rows were read. A failure has the status 4 if no table appeared under the key within
    /// 1000 milliseconds. Other statuses are the television's. `NO_ANSWER` means that a page did not arrive in time.
    [[nodiscard]] Result<void> const& result() const { return reader_->result(); }

private:
    std::unique_ptr<detail::PageReader, detail::PageReader::End> reader_;
};

/// One table of the television's data model, read through `objbus::TableIterator` of `television/table_iterator.h`.
///
///     client::Table channels("channels");
///     auto rows = channels.rows({0, 1}, 40);  // Columns 0 and 1, in pages of 40 rows.
///     for (client::Row const& row : rows) { show(row); }
///     if (!rows.result()) { log(describe(rows.result().error())); }
///
/// The rules of a `Property` for connecting, use by threads and destruction also hold for a `Table`.
class Table {
public:
    /// Does not connect. The executor calls the handler. Without an executor, the delivery thread calls the handler.
    explicit Table(std::string const& key, Executor executor = {})
        : key_(key),
          watcher_(new detail::TableWatcher(key, std::make_shared<detail::Watch<int>>(std::move(executor)))) {}

    /// Returns the rows. `columns` has the numbers of the columns to read. If `columns` is empty, the rows have all
    /// columns. The loop reads pages of `page` rows, and waits up to `timeout` for each page. Before the first page,
    /// the loop connects and makes an iterator. The `Rows` may outlive the table. If the table changes during the loop,
    /// a row may appear twice or not at all. If a handler on the delivery thread reads the rows, the result of the rows
    /// is `WOULD_DEADLOCK`.
    [[nodiscard]] Rows rows(std::vector<int> const& columns, int page,
                            std::chrono::milliseconds timeout = detail::DEFAULT_TIMEOUT) const {
        return Rows(new detail::PageReader(key_, columns, page, timeout));
    }

    /// Calls `handler(int)` after every change, with the number that the television gives to the change. Does not call
    /// the handler before the first change. Otherwise like `Property::watch`. A failure has the status 6 if the object
    /// is no table.
    template <typename Handler>
    Result<void> watch(Handler&& handler) {
        return watcher_->watch(std::forward<Handler>(handler),
                               [&watcher = *watcher_](auto& /*first*/) { return watcher.ensureConnected(); });
    }

private:
    std::string const key_;
    detail::Owned<detail::TableWatcher> watcher_;
};

}  // namespace orvane::client
