#pragma once

#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "simulator/television.h"
#include "stress/program.h"

namespace stress {

using namespace orvane::model_keys;

constexpr char TABLE[] = "stress.table";
constexpr char VALUE[] = "stress.value";

/// A television whose own thread changes the values and rows as fast as possible.
class ChangingTelevision : public simulator::Television {
public:
    ChangingTelevision() {
        publish(COMMAND, List{});
        publish(EVENT, List{});
        publish(VALUE, 0);
        publishTable(TABLE, {});
        publishAction(SOURCE_SWITCH,
                      [](auto const& arguments) { return simulator::ActionAnswer{.outcome = arguments}; });
        thread_ = std::jthread([this](std::stop_token const& stop) { runChanges(stop); });
    }

    void stop() { thread_ = {}; }

    /// Calls the operations that no other code of this program calls. The calls change nothing for the clients.
    void callOperationsUnusedElsewhere() {
        setObjectListener([this](std::string const& key) {
            expect(key == "stress.other" && objects().size() >= 5, "only the other object comes and goes");
        });
        if (constexpr int MOST = 300; ++otherObjectPublishCount_ < MOST) {  // The television keeps withdrawn objects.
            publish("stress.other", 0);
            withdraw("stress.other");
        }
        setObjectListener({});
        setRootLookup(simulator::RootLookup::published);
        failConnects(VALUE, {.attempts = 0});
        failReads(COMMAND, {});
        failInvokes(SOURCE_SWITCH, 0);
        throwFrom(TABLE, simulator::Call::none);
        notifyEarly(VALUE, false);
        refuseIterators(TABLE, false);
        auto const request = iteratorRequest(TABLE).value_or(simulator::IteratorRequest{});
        expect(
            lookups() + registrations(VALUE) >= 0 && counts(VALUE).reads >= 0 && get(VALUE) && request.columns.empty(),
            "the television tells what clients did");
    }

    std::atomic<int> numberInListsBeingSet = 0;  ///< The number in the two lists that are being set.
    std::atomic<int> numberInListsSetLast = 0;   ///< The number in the two lists that were set last.

private:
    void runChanges(std::stop_token const& stop) {
        constexpr int MOST_PENDING = 50;  // Without this limit, pending notifications would fill the memory.
        for (int number = 1; !stop.stop_requested(); ++number) {
            List const list = encodeList(number);
            numberInListsBeingSet = number;
            set(COMMAND, list);
            set(EVENT, list);
            numberInListsSetLast = number;
            set(VALUE, number);
            setRows(TABLE, {list, list});
            if (number % MOST_PENDING == 0) {
                waitUntilDelivered();
                callOperationsUnusedElsewhere();
            }
        }
    }

    std::atomic<int> otherObjectPublishCount_ = 0;
    std::jthread thread_;
};

}  // namespace stress
