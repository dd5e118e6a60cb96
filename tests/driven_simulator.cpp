// The television in the process.

#include <mutex>

#include "driven_television.h"
#include "simulator/television.h"

namespace driven {

namespace {

simulator::Television tv;

std::mutex mutex;  // Actions are invoked on any thread.
Answer currentAnswer;
std::vector<std::string> arguments;
unsigned int lastId = 0;

simulator::ActionAnswer answerNow(std::vector<objbus::Argument> const& given) {
    std::lock_guard const lock(mutex);
    arguments.clear();
    for (objbus::Argument const& argument : given) {
        arguments.push_back(std::to_string(argument.index) + ": " + argument.value);
    }
    simulator::ActionAnswer answer{0, ++lastId, {}};
    if (auto const* const texts = std::get_if<std::vector<std::string>>(&currentAnswer)) {
        auto& results = answer.outcome.emplace<simulator::ActionAnswer::Results>();
        for (std::string const& text : *texts) {
            results.push_back({0, static_cast<std::int8_t>(results.size()), 0, text});
        }
    } else if (auto const* const error = std::get_if<int>(&currentAnswer)) {
        answer.outcome = *error;
    }
    return answer;
}

}  // namespace

bool carriesEveryText() { return true; }

void publish(Key key, television::Value const& value) { tv.publish(key, value); }
void publishTable(Key key, television::Rows const& rows) { tv.publishTable(key, rows); }
void publishAction(Key key) { tv.publishAction(key, answerNow); }

void withdraw(Key key) {
    tv.withdraw(key);
    settle();
}

void set(Key key, television::Value const& value) { tv.set(key, value); }
void setRows(Key key, television::Rows const& rows) { tv.setRows(key, rows); }

void answerWith(Answer const& answer) {
    std::lock_guard const lock(mutex);
    currentAnswer = answer;
}

void failInvokes(Key key, int status) { tv.failInvokes(key, status); }
void failReads(Key key, int status) { tv.failReads(key, {status}); }

std::vector<std::string> lastArguments() {
    std::lock_guard const lock(mutex);
    return arguments;
}

void settle() { tv.waitUntilDelivered(); }

}  // namespace driven
