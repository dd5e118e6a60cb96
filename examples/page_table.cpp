// A table of the television's data model: read its rows in pages, and observe its changes.

#undef NDEBUG
#include <cassert>
#include <vector>

#include "client/table.h"
#include "simulator/television.h"

int main() {  // NOLINT(bugprone-exception-escape): an exception is a failure of the test.
    using namespace orvane::client;
    simulator::Television television;
    television.publishTable("channels", std::vector<Row>(250, {"1", "News", "HD"}));
    int changes = 0;
    Table channels("channels");
    assert(channels.watch([&changes](int /*update*/) { ++changes; }));

    std::vector<Row> read;
    auto rows = channels.rows({0, 1}, 40);  // Columns 0 and 1, in pages of 40 rows.
    for (Row const& row : rows) {
        read.push_back(row);
    }
    assert(rows.result() && read == std::vector<Row>(250, {"1", "News"}));

    television.setRows("channels", {});
    television.waitUntilDelivered();
    assert(changes == 1);

    Table missing("no.such.table");
    auto none = missing.rows({}, 40);
    assert(!(none.begin() != none.end()) && none.result().error().code == 4);  // Fails after one second.
}
