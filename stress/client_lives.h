#pragma once

#include <semaphore>

#include "client/action.h"
#include "client/property.h"
#include "client/table.h"
#include "stress/changing_television.h"

// Uses and destroys objects of the layer in client/. Each handler runs on the delivery thread or on a new thread.

namespace stress {

inline orvane::client::Executor executorForRound(int round) {
    return round % 2 == 0 ? orvane::client::Executor() : [](auto task) { std::thread(std::move(task)).detach(); };
}

/// Watches a property. Destroys the property inside the handler or on the calling thread.
inline void watchProperty(ChangingTelevision& /*television*/, int round) {
    std::binary_semaphore ended(0);
    std::atomic<bool> isRunning = false;
    auto property = std::make_unique<orvane::client::Property<int>>(VALUE, executorForRound(round));
    auto const watched = property->watch([&, last = 0, count = 0](int value) mutable {
        expect(!isRunning.exchange(true), "the calls of a handler do not overlap");
        expect(count == 0 || value == last + 1 || (count == 1 && value <= last), "no change is lost or out of order");
        last = value;
        bool const isLast = ++count == 1 + round % 4;
        isLast&& round % 3 == 0 ? property.reset() : void();
        isRunning = false;
        isLast ? ended.release() : void();
    });
    ended.acquire();
    property.reset();
    expect(watched && !isRunning, "no handler runs after the end of its property");
}

/// Calls an action from two threads. Destroys the action without waiting for the answer of the last call.
inline void callAction(ChangingTelevision& /*television*/, int round) {
    constexpr std::chrono::seconds LONG(60);
    orvane::client::Action action(SOURCE_SWITCH, executorForRound(round));
    auto const call = [&](List const& sent) {
        expect(action.call(sent, LONG).value_or({}) == sent, "a call has its answer");
    };
    std::jthread const other(call, List{"other"});
    call({"own"});
    List const left{"left"};
    action.call(left, [left](auto const& answer) { expect(*answer == left, "an answer arrives before the end"); });
}

/// Watches a table, and reads its two rows while they change.
inline void readTable(ChangingTelevision& /*television*/, int round) {
    std::atomic<int> updates = 0;
    orvane::client::Table table(TABLE, executorForRound(round));
    auto const watched = table.watch([&updates](int /*update*/) { ++updates; });
    while (updates == 0) {
        auto rows = table.rows({}, 1 + round % 3, std::chrono::seconds(60));
        int rowCount = 0;
        for (List const& row : rows) {
            rowCount += decodeList(row) != 0 ? 1 : 0;
        }
        expect(watched && rows.result() && rowCount == 2, "a table has all its rows");
    }
}

}  // namespace stress
