#include "web/glib.h"

#include <utility>

#include "television/catch_to_status.h"

namespace web {

namespace {

using Task = std::function<void()>;

gboolean run(gpointer task) {
    television::catchToStatus([&] { return (*static_cast<Task*>(task))(), television::STATUS_OK; });
    return G_SOURCE_REMOVE;
}

void destroy(gpointer task) { std::default_delete<Task>()(static_cast<Task*>(task)); }

}  // namespace

std::string takeText(char* text) {
    std::unique_ptr<char, decltype(&g_free)> const owned(text, &g_free);
    return text == nullptr ? std::string() : std::string(text);
}

void runOnMainContext(std::function<void()> task, int priority) {
    auto owned = std::make_unique<Task>(std::move(task));
    // Not g_main_context_invoke, which may run it here.
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, priority);
    g_source_set_callback(source, run, owned.release(), destroy);
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

}  // namespace web
