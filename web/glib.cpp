#include "web/glib.h"

#include <utility>

#include "television/catch_to_status.h"

namespace web {

std::string takeText(char* text) {
    std::unique_ptr<char, decltype(&g_free)> const owned(text, &g_free);
    return text == nullptr ? std::string() : std::string(text);
}

void runOnMainContext(std::function<void()> task, int priority) {
    using Task = std::function<void()>;
    GSourceFunc const run = [](gpointer data) -> gboolean {
        television::catchToStatus([&] { return (*static_cast<Task*>(data))(), television::STATUS_OK; });
        return G_SOURCE_REMOVE;
    };
    // The task runs as an idle source, because g_main_context_invoke may run the task inside `runOnMainContext`.
    g_idle_add_full(priority, run, std::make_unique<Task>(std::move(task)).release(), destroy<Task>);
}

}  // namespace web
