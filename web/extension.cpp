// The entry of the web process extension: decides which documents see `nrx`.

#include <wpe/webkit-web-extension.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

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
    Ref<JSCContext> const context(webkit_frame_get_js_context_for_script_world(frame, extension.isolatedWorld.get()));
    return extension.allowed.allows(textOf(context.get(), "location.protocol"), textOf(context.get(), "self.origin"));
}

constexpr char BINDINGS[] = "nrx-script-bindings";
/// Those of the page's main documents, also of the ones in the page cache.
using Bindings = std::vector<std::weak_ptr<ScriptBinding>>;

/// A document detaches when it is hidden, unless the page removed the listener for that.
void detachAll(Bindings& bindings) {
    bindings.erase(std::remove_if(bindings.begin(), bindings.end(), [](auto const& gone) { return gone.expired(); }),
                   bindings.end());
    for (auto const& binding : bindings) {
        if (auto const attached = binding.lock()) {
            attached->detach();
        }
    }
}

Bindings& bindingsOf(WebKitWebPage* page) {
    gpointer bindings = g_object_get_data(G_OBJECT(page), BINDINGS);
    if (bindings == nullptr) {
        bindings = std::make_unique<Bindings>().release();
        g_object_set_data_full(G_OBJECT(page), BINDINGS, bindings, [](gpointer gone) {
            std::unique_ptr<Bindings> const owned(static_cast<Bindings*>(gone));
            detachAll(*owned);
        });
    }
    return *static_cast<Bindings*>(bindings);
}

void onWindowObjectCleared(WebKitScriptWorld* world, WebKitWebPage* page, WebKitFrame* frame, gpointer data) {
    if (webkit_frame_is_main_frame(frame) == FALSE) {
        return;
    }
    television::catchToStatus([&] {
        Extension& extension = *static_cast<Extension*>(data);
        Bindings& bindings = bindingsOf(page);
        detachAll(bindings);
        if (isAllowed(extension, frame)) {
            Ref<JSCContext> const context(webkit_frame_get_js_context_for_script_world(frame, world));
            bindings.push_back(ScriptBinding::install(context.get(), extension.worker));
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
