// A host of the web engine with two pages in one web process: two_pages EXTENSIONS URL URL
// Writes the pages' console messages to standard output. Closes a page whose title becomes "close". A third, empty page
// keeps the web process alive. The host runs until a signal ends the host.

#include <wpe/fdo.h>
#include <wpe/unstable/fdo-shm.h>
#include <wpe/webkit.h>

#include <cstdio>

namespace {

/// One page. Releases each frame of the page to the engine, and displays no frame.
struct View {
    View(char const* url, WebKitWebContext* context, WebKitWebView* related) {
        static wpe_view_backend_exportable_fdo_client const client = {
            nullptr, nullptr,
            [](void* view, wpe_fdo_shm_exported_buffer* picture) {
                auto* const exportable = static_cast<View*>(view)->exportable_;
                wpe_view_backend_exportable_fdo_dispatch_release_shm_exported_buffer(exportable, picture);
                wpe_view_backend_exportable_fdo_dispatch_frame_complete(exportable);
            },
            nullptr, nullptr};
        exportable_ = wpe_view_backend_exportable_fdo_create(&client, this, 320, 200);
        auto* const backend = webkit_web_view_backend_new(
            wpe_view_backend_exportable_fdo_get_view_backend(exportable_),
            [](gpointer exportable) {
                wpe_view_backend_exportable_fdo_destroy(static_cast<wpe_view_backend_exportable_fdo*>(exportable));
            },
            exportable_);
        page = related == nullptr ? webkit_web_view_new_with_context(backend, context)
                                  : webkit_web_view_new_with_related_view(backend, related);
        webkit_settings_set_enable_write_console_messages_to_stdout(webkit_web_view_get_settings(page), TRUE);
        g_signal_connect(page, "notify::title", G_CALLBACK(+[](WebKitWebView*, GParamSpec*, View* view) {
                             if (g_strcmp0(webkit_web_view_get_title(view->page), "close") == 0) {
                                 g_idle_add(&View::close, view);
                             }
                         }),
                         this);
        webkit_web_view_load_uri(page, url);
    }

    static gboolean close(gpointer view) {
        g_object_unref(static_cast<View*>(view)->page);
        return G_SOURCE_REMOVE;
    }

    WebKitWebView* page = nullptr;

private:
    wpe_view_backend_exportable_fdo* exportable_ = nullptr;
};

}  // namespace

int main(int argc, char* arguments[]) {
    if (argc != 4) {
        std::fputs("two_pages: expected EXTENSIONS URL URL\n", stderr);
        return 2;
    }
    wpe_loader_init("libWPEBackend-fdo-1.0.so");
    wpe_fdo_initialize_shm();
    WebKitWebContext* const context = webkit_web_context_new();
    webkit_web_context_set_web_extensions_directory(context, arguments[1]);
    View empty("about:blank", context, nullptr);
    View const first(arguments[2], context, empty.page);
    View const second(arguments[3], context, empty.page);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
