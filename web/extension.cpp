// The entry point of the web process extension. Decides which documents get `nrx`.

#include <wpe/webkit-web-extension.h>

#include <string>
#include <utility>

#include "television/catch_to_status.h"
#include "web/allowed_origins.h"
#include "web/facade_worker.h"
#include "web/glib.h"
#include "web/log.h"
#include "web/script_binding.h"

namespace {

using namespace web;

/// The state of the process. Never destroyed: pages may use the state until the process ends.
struct Extension {
    explicit Extension(AllowedOrigins origins)
        : allowed(std::move(origins)), worker([](auto task) { runOnMainContext(std::move(task)); }) {}

    AllowedOrigins const allowed;
    FacadeWorker worker;
    /// A page's scripts cannot change the objects of this script world.
    Ref<WebKitScriptWorld> const isolatedWorld{webkit_script_world_new()};
};

std::string evaluate(JSCContext* context, char const* expression) {
    Ref<JSCValue> const value(jsc_context_evaluate(context, expression, -1));
    return takeText(jsc_value_to_string(value.get()));
}

/// Evaluates the origin in the document itself, because the frame's address does not show whether the document is
/// in a sandbox.
bool isAllowed(Extension const& extension, WebKitFrame* frame) {
    Ref<JSCContext> const context(webkit_frame_get_js_context_for_script_world(frame, extension.isolatedWorld.get()));
    return extension.allowed.allows(evaluate(context.get(), "location.protocol"),
                                    evaluate(context.get(), "self.origin"));
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
            g_signal_connect(webkit_script_world_get_default(), "window-object-cleared",
                             G_CALLBACK(onWindowObjectCleared), new Extension(std::move(allowed)));
        }
        return television::STATUS_OK;
    });
    if (status != television::STATUS_OK) {
        reportError("no memory or thread is left: no page sees nrx");
    }
}
