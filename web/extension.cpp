// The entry of the web process extension: decides which documents see `nrx`.

#include <wpe/webkit-web-extension.h>

#include <memory>
#include <string>

#include "television/catch_to_status.h"
#include "web/allowed_origins.h"
#include "web/facade_worker.h"
#include "web/glib.h"
#include "web/script_binding.h"

namespace {

using namespace web;

/// What the process has; it is never destroyed, since pages may use it until the process ends.
struct Extension {
    explicit Extension(AllowedOrigins origins) : allowed(std::move(origins)), worker(runOnMainContext) {}

    AllowedOrigins const allowed;
    FacadeWorker worker;
    /// A page's scripts cannot change what is read here.
    Ref<WebKitScriptWorld> const isolatedWorld{webkit_script_world_new()};
};

std::string textOf(JSCContext* context, char const* expression) {
    Ref<JSCValue> const value(jsc_context_evaluate(context, expression, -1));
    return takeText(jsc_value_to_string(value.get()));
}

/// By the document itself: its process has had others, and its address says nothing of a sandbox.
bool isAllowed(Extension const& extension, WebKitFrame* frame) {
    Ref<JSCContext> const context(
        webkit_frame_get_js_context_for_script_world(frame, extension.isolatedWorld.get()));
    return extension.allowed.allows(textOf(context.get(), "location.protocol"), textOf(context.get(), "self.origin"));
}

constexpr char BINDING[] = "nrx-script-binding";
using Binding = std::weak_ptr<ScriptBinding>;

/// The binding of the page's document ends, if the document has not ended it itself.
void detach(gpointer binding) {
    std::unique_ptr<Binding> const owned(static_cast<Binding*>(binding));
    television::catchToStatus([&] {
        if (auto const attached = owned->lock()) {
            attached->detach();
        }
        return television::STATUS_OK;
    });
}

void onWindowObjectCleared(WebKitScriptWorld* world, WebKitWebPage* page, WebKitFrame* frame, gpointer data) {
    if (webkit_frame_is_main_frame(frame) == FALSE) {
        return;
    }
    g_object_set_data(G_OBJECT(page), BINDING, nullptr);  // The document before this one.
    television::catchToStatus([&] {
        Extension& extension = *static_cast<Extension*>(data);
        if (isAllowed(extension, frame)) {
            Ref<JSCContext> const context(webkit_frame_get_js_context_for_script_world(frame, world));
            auto binding = std::make_unique<Binding>(ScriptBinding::install(context.get(), extension.worker));
            g_object_set_data_full(G_OBJECT(page), BINDING, binding.release(), detach);
        }
        return television::STATUS_OK;
    });
}

}  // namespace

extern "C" G_MODULE_EXPORT void webkit_web_extension_initialize(WebKitWebExtension* /*extension*/) {
    television::catchToStatus([] {
        if (AllowedOrigins allowed = AllowedOrigins::fromEnvironment(); !allowed.isEmpty()) {
            auto* const extension = new Extension(std::move(allowed));
            g_signal_connect(webkit_script_world_get_default(), "window-object-cleared",
                             G_CALLBACK(onWindowObjectCleared), extension);
        }
        return television::STATUS_OK;
    });
}
