// Invoking an action of the television's model, and hearing its answer, which comes later and on another thread.

#undef NDEBUG
#include <cassert>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"
#include "simulator/television.h"

namespace {

using namespace orvane::system::support;

/// What became of one invocation.
struct Answer {
    unsigned int id = 0;
    int error = 0;  ///< 0 for a result.
    std::vector<std::string> texts;
};

/// Hands the answer over from the television's thread to the one that waits for it.
class Waiting : public ActionHandler {
public:
    Answer wait() { return answer.get_future().get(); }

    void handleResult(unsigned int id, ValueObject const& results) override { answer.set_value({id, 0, results}); }
    void handleExecutionError(unsigned int id, int error) override { answer.set_value({id, error, {}}); }

private:
    std::promise<Answer> answer;
};

/// Sets the sleep timer and returns the television's answer; the answer's `id` is 0 when there was none to wait for.
Answer setSleepTimer(std::string const& minutes) {
    auto const waiting = std::make_shared<Waiting>();
    ActionAccess action("timer.sleep", waiting);
    Answer answer;
    unsigned int id = 0;
    // Connected or not is our own to know: `invoke` does not connect by itself.
    if (action.connect(200) == STATUS_OK && action.invoke(id, {{0, 0, 0, minutes}}) == STATUS_OK) {
        answer = waiting->wait();
        assert(answer.id == id);
    }
    // Always, before it is destroyed: the television would go on to call an object that is gone. A program that goes on
    // after an exception sees to it on that way, too.
    action.disconnect();
    return answer;
}

}  // namespace

int main() {
    assert(setSleepTimer("30").id == 0);  // No television at all.

    simulator::Television television;
    television.publishAction("timer.sleep", [](std::vector<objbus::Argument> const& arguments) {
        simulator::ActionAnswer answer;
        answer.actionId = 7;
        if (arguments.at(0).value == "30") {
            answer.outcome = std::vector<objbus::Argument>{{0, 1, 0, "minutes"}, {0, 0, 0, "30"}};
        } else {
            answer.outcome = 22;  // An error that shows only when the action is carried out.
        }
        return answer;
    });

    Answer const result = setSleepTimer("30");
    assert(result.id == 7 && (result.texts == std::vector<std::string>{"30", "minutes"}));  // In order of their index.
    assert(setSleepTimer("soon").error == 22);

    television.failInvokes("timer.sleep", 42);  // Refused at once: nothing is answered later.
    assert(setSleepTimer("30").id == 0);
}
