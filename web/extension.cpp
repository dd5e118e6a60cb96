// The entry of the web process extension: decides which documents see `nrx`.

#include <wpe/webkit-web-extension.h>

#include <memory>
#include <string>
#include <utility>

#include "television/catch_to_status.h"
#include "television/report.h"
#include "web/allowed_origins.h"
#include "web/facade_worker.h"
#include "web/glib.h"
#include "web/log.h"
#include "web/script_binding.h"

namespace {

using namespace web;

/// What the process has; it is never destroyed, since pages may use it until the process ends.
struct Extension {
    explicit Extension(AllowedOrigins origins)
        : allowed(std::move(origins)), worker([](auto task) { runOnMainContext(std::move(task)); }) {}

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
    Ref<JSCContext> const context(webkit_frame_get_js_context_for_script_world(frame, extension.isolatedWorld.get()));
    return extension.allowed.allows(textOf(context.get(), "location.protocol"), textOf(context.get(), "self.origin"));
}

void onWindowObjectCleared(WebKitScriptWorld* world, WebKitWebPage* /*page*/, WebKitFrame* frame, gpointer data) {
    if (webkit_frame_is_main_frame(frame) == FALSE) {
        return;
    }
    television::catchToStatus([&] {
        Extension& extension = *static_cast<Extension*>(data);
        if (isAllowed(extension, frame)) {
            Ref<JSCContext> const context(webkit_frame_get_js_context_for_script_world(frame, world));
            ScriptBinding::install(context.get(), extension.worker);
        }
        return television::STATUS_OK;
    });
}

}  // namespace

extern "C" G_MODULE_EXPORT void webkit_web_extension_initialize(WebKitWebExtension* /*extension*/) {
    int const status = television::catchToStatus([] {
        if (AllowedOrigins allowed = AllowedOrigins::fromEnvironment(); !allowed.isEmpty()) {
            auto* const extension = new Extension(std::move(allowed));
            g_signal_connect(webkit_script_world_get_default(), "window-object-cleared",
                             G_CALLBACK(onWindowObjectCleared), extension);
        }
        return television::STATUS_OK;
    });
    if (status != television::STATUS_OK) {
        television::report(LOG_TAG, "no memory or thread is left: no page sees nrx");
    }
}
