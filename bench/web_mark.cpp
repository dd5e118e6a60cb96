// An extension of the web engine that gives every page the function `mark`. This function writes one byte to the pipe
// whose path is in the environment variable NRX_BENCH_PIPE.

#include <fcntl.h>
#include <unistd.h>
#include <wpe/webkit-web-extension.h>

#include <cstdlib>

namespace {

void mark() {
    static int const pipe = ::open(std::getenv("NRX_BENCH_PIPE"), O_WRONLY | O_CLOEXEC);
    if (::write(pipe, "", 1) != 1) {
        std::abort();
    }
}

void onWindowObjectCleared(WebKitScriptWorld* world, WebKitWebPage* /*page*/, WebKitFrame* frame, gpointer /*data*/) {
    JSCContext* const context = webkit_frame_get_js_context_for_script_world(frame, world);
    JSCValue* const function =
        jsc_value_new_function(context, "mark", G_CALLBACK(mark), nullptr, nullptr, G_TYPE_NONE, 0);
    jsc_context_set_value(context, "mark", function);
    g_object_unref(function);
    g_object_unref(context);
}

}  // namespace

extern "C" G_MODULE_EXPORT void webkit_web_extension_initialize(WebKitWebExtension* /*extension*/) {
    g_signal_connect(webkit_script_world_get_default(), "window-object-cleared", G_CALLBACK(onWindowObjectCleared),
                     nullptr);
}
