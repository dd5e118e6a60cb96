// Paging through a table of the television's model: an iterator is asked for rows, and they arrive later, on another
// thread. What an iterator can be asked for is the television's own; here it is the simulated one's.

#undef NDEBUG
#include <cassert>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "simulator/table_iterator.h"
#include "simulator/television.h"

namespace {

using namespace orvane::system::support;
using Row = std::vector<std::string>;

/// Collects what arrives. Every notification of the iterator has its operation here, needed or not.
class Rows : public IteratorHandler {
public:
    void handleIteratorReady(int /*status*/) override {}
    void handleTotalCount(int count) override {
        put([&] { total = count; });
    }
    void handleReadRowChunk(std::vector<Row const*> const& chunk) override {
        put([&] {
            for (Row const* const row : chunk) {
                rows.push_back(*row);  // A row ends with the call: what is kept is copied.
            }
        });
    }
    void handleReadRow(Row const& /*row*/) override {}
    void handleSeekToRow(int /*row*/) override {}
    void handleSeekToContent(int /*row*/) override {}
    void handleCursorPosition(int /*row*/) override {}
    void handleCommit(int /*status*/) override {}
    void handleUpdate(int /*update*/) override {}

    /// Waits until all rows that were announced have arrived.
    std::vector<Row> all() {
        std::unique_lock<std::mutex> lock(mutex);
        arrived.wait(lock, [this] { return total >= 0 && rows.size() >= static_cast<std::size_t>(total); });
        return rows;
    }
    int count() {
        std::unique_lock<std::mutex> lock(mutex);
        arrived.wait(lock, [this] { return total >= 0; });
        return total;
    }

private:
    template <typename Put>
    void put(Put const& change) {
        std::lock_guard<std::mutex> const lock(mutex);
        change();
        arrived.notify_all();
    }

    std::mutex mutex;
    std::condition_variable arrived;
    int total = -1;
    std::vector<Row> rows;
};

}  // namespace

int main() {
    simulator::Television television;
    television.publishTable("channels", {{"1", "News", "HD"}, {"2", "Sports", "UHD"}, {"3", "Films", "HD"}});

    auto const rows = std::make_shared<Rows>();
    IteratorAccess channels("channels", rows, {}, {}, {0, 1}, {});  // Columns 0 and 1; all rows, as they stand.
    assert(channels.create() == STATUS_OK);
    // The table is there, but the television may still refuse the iterator.
    objbus::TableIterator* const iterator = channels.getIterator();
    assert(iterator != nullptr);

    iterator->requestTotalCount();
    constexpr int PAGE = 2;
    for (int first = 0; first < rows->count(); first += PAGE) {
        iterator->seekToRow(first);
        iterator->readRowChunk(PAGE);
    }
    assert((rows->all() == std::vector<Row>{{"1", "News"}, {"2", "Sports"}, {"3", "Films"}}));

    // Always, also when something throws, before the access is destroyed: the iterator reports to it.
    channels.destroy();

    IteratorAccess missing("no.such.table", rows, {}, {}, {}, {});
    assert(missing.create() == 4 && missing.getIterator() == nullptr);  // Given up after a second.
}
