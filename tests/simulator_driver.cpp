// Drives the simulated television in this process.

#include "simulator/television.h"
#include "television_driver.h"

namespace driver {

namespace {

simulator::Television tv;

std::mutex mutex;  // Guards the next three variables, because actions run on any thread.
decltype(simulator::ActionAnswer::outcome) outcome;
std::vector<std::string> lastTexts;
unsigned int lastId = 0;

simulator::ActionAnswer answer(std::vector<objbus::Argument> const& arguments) {
    std::lock_guard const lock(mutex);
    lastTexts.clear();
    for (objbus::Argument const& argument : arguments) {
        lastTexts.push_back(std::to_string(argument.index) + ": " + argument.value);
    }
    return {0, ++lastId, outcome};
}

}  // namespace

bool supportsArbitraryText() { return true; }

void publish(Key key, television::Value const& value) { tv.publish(key, value); }
void publishTable(Key key, television::Rows const& rows) { tv.publishTable(key, rows); }
void publishAction(Key key) { tv.publishAction(key, answer); }
void withdraw(Key key) { tv.withdraw(key); }
void set(Key key, television::Value const& value) { tv.set(key, value); }
void setRows(Key key, television::Rows const& rows) { tv.setRows(key, rows); }

void setInvokeAnswer(Answer const& answer) {
    std::lock_guard const lock(mutex);
    outcome = std::monostate();
    if (auto const* const error = std::get_if<int>(&answer)) {
        outcome = *error;
    } else if (auto const* const texts = std::get_if<std::vector<std::string>>(&answer)) {
        auto& results = outcome.emplace<simulator::ActionAnswer::Results>();
        for (std::string const& text : *texts) {
            results.push_back({0, static_cast<std::int8_t>(results.size()), 0, text});
        }
    }
}

void failInvokes(Key key, int status) { tv.failInvokes(key, status); }
void failReads(Key key, int status) { tv.failReads(key, {status}); }

std::vector<std::string> lastInvokeArguments() {
    std::lock_guard const lock(mutex);
    return lastTexts;
}

void waitForNotifications() { tv.waitUntilDelivered(); }

}  // namespace driver
