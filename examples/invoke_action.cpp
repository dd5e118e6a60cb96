// An action of the television's data model: wait for its answer, or continue and receive the answer in a handler.

#undef NDEBUG
#include <cassert>
#include <chrono>
#include <string>
#include <vector>

#include "client/action.h"
#include "simulator/television.h"

int main() {  // NOLINT(bugprone-exception-escape): an exception is a failure of the test.
    using namespace std::chrono_literals;
    using namespace orvane::client;
    Action timer("timer.sleep");
    assert(timer.call({"30"}, 200ms).error().code == 5);  // There is no television.

    simulator::Television television;
    television.publishAction("timer.sleep", [](std::vector<objbus::Argument> const& arguments) {
        simulator::ActionAnswer answer;  // Without an outcome, the television sends no answer.
        if (arguments.at(0).value == "30") {
            answer.outcome = simulator::ActionAnswer::Results{{0, 1, 0, "minutes"}, {0, 0, 0, "30"}};
        } else if (arguments.at(0).value == "soon") {
            answer.outcome = 22;  // The action fails after its start.
        }
        return answer;
    });
    auto const result = timer.call({"30"}, 2s);
    assert(result && (*result == std::vector<std::string>{"30", "minutes"}));  // Texts in the order of their positions.
    assert(timer.call({"soon"}, 2s).error().cause == Cause::EXECUTION_ERROR);
    assert(timer.call({"never"}, 100ms).error().cause == Cause::NO_ANSWER);

    std::string minutes;  // The handler sets the variable on the delivery thread.
    Action other("timer.sleep");
    other.call({"30"},
               [&minutes](Answer const& answer) { minutes = answer ? answer->at(0) : describe(answer.error()); });
    television.waitUntilDelivered();
    assert(minutes == "30");
}
