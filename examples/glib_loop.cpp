// Handlers on the thread of a GLib main context.

#undef NDEBUG
#include <glib.h>

#include <cassert>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/action.h"
#include "client/property.h"
#include "simulator/television.h"

namespace {

using Task = std::function<void()>;

/// The executor: any thread may add a task, which runs on the thread that iterates the default context.
void addToContext(Task task) {
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    auto const run = [](void* added) -> gboolean {
        (*static_cast<Task*>(added))();
        return G_SOURCE_REMOVE;
    };
    g_source_set_callback(source, run, new Task(std::move(task)),
                          [](void* added) { delete static_cast<Task*>(added); });
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

/// Runs tasks until the condition holds. Ends the program if the condition does not hold after ten seconds.
template <typename Condition>
void runUntil(Condition const& holds) {
    auto const giveUp = [](void* /*data*/) -> gboolean { g_error("the condition does not hold after ten seconds"); };
    guint const timer = g_timeout_add_seconds(10, giveUp, nullptr);
    while (!holds()) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_source_remove(timer);
}

}  // namespace

int main() {
    namespace client = orvane::client;
    simulator::Television television;
    television.publish("audio.volume", 20);
    television.publishAction("timer.sleep", [](auto const& /*arguments*/) {
        simulator::ActionAnswer answer;
        answer.outcome = simulator::ActionAnswer::Results{{0, 0, 0, "30"}};
        return answer;
    });

    std::vector<int> levels;  // `levels` and `minutes` need no lock: only this thread uses them.
    std::string minutes;
    client::Property<int> volume("audio.volume", addToContext);
    assert(volume.watch([&levels](int level) { levels.push_back(level); }));
    assert(volume.set(21));
    std::optional<client::Action> timer(std::in_place, "timer.sleep", addToContext);
    auto const show = [&minutes](client::Answer const& answer) { minutes = answer.value_or({"failed"}).at(0); };
    timer->call({"30"}, show);
    runUntil([&] { return levels.size() == 2 && !minutes.empty(); });
    assert(levels.back() == 21 && minutes == "30");

    minutes.clear();
    timer->call({"30"}, show);
    assert(volume.set(22));
    television.waitUntilDelivered();  // A task that calls `show` waits in the context.
    timer.reset();                    // Destroys the action before the context runs the task.
    runUntil([&] { return levels.back() == 22; });
    assert(minutes.empty());  // The task has done nothing.
}
