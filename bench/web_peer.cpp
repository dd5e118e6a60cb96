// A minimal extension of the web engine, which reads a list from the bus on the main thread and calls the page's
// function `receive` with a frozen array.

#include <glib-unix.h>
#include <wpe/webkit-web-extension.h>

#include <string_view>

#include "bus/protocol/contract.h"
#include "bus/protocol/message.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"
#include "web/glib.h"

namespace {

using Type = television::PlainKindTraits<std::vector<std::string>>;

sd_bus* connection = nullptr;
JSCContext* page = nullptr;

int onChange(sd_bus_message* message, void* /*unused*/, sd_bus_error* /*error*/) {
    char const* interface = nullptr;
    char const* property = nullptr;
    char** texts = nullptr;
    if (sd_bus_message_read(message, "s", &interface) < 0 || interface != std::string_view(Type::INTERFACE) ||
        sd_bus_message_enter_container(message, 'a', "{sv}") < 0 ||
        sd_bus_message_enter_container(message, 'e', "sv") < 0 || sd_bus_message_read(message, "s", &property) < 0 ||
        sd_bus_message_enter_container(message, 'v', "as") < 0 || sd_bus_message_read_strv(message, &texts) < 0) {
        return 0;
    }
    using Value = web::Ref<JSCValue>;
    Value const list(jsc_value_new_array_from_strv(page, texts));
    Value const object(jsc_context_get_value(page, "Object"));
    Value const frozen(jsc_value_object_invoke_method(object.get(), "freeze", JSC_TYPE_VALUE, list.get(), G_TYPE_NONE));
    Value const receive(jsc_context_get_value(page, "receive"));
    Value const result(jsc_value_function_call(receive.get(), JSC_TYPE_VALUE, frozen.get(), G_TYPE_NONE));
    g_strfreev(texts);
    return 0;
}

gboolean onReadable(gint /*descriptor*/, GIOCondition /*condition*/, gpointer /*data*/) {
    while (sd_bus_process(connection, nullptr) > 0) {
    }
    return G_SOURCE_CONTINUE;
}

void onWindowObjectCleared(WebKitScriptWorld* world, WebKitWebPage* /*page*/, WebKitFrame* frame, gpointer /*data*/) {
    page = webkit_frame_get_js_context_for_script_world(frame, world);  // The browser has only this page.
}

}  // namespace

extern "C" G_MODULE_EXPORT void webkit_web_extension_initialize(WebKitWebExtension* /*extension*/) {
    g_signal_connect(webkit_script_world_get_default(), "window-object-cleared", G_CALLBACK(onWindowObjectCleared),
                     nullptr);
    bus::Bus opened;
    bus::startBusConnection(opened, bus::findBusAddressInEnvironment());
    connection = opened.release();
    sd_bus_match_signal(connection, nullptr, bus::SERVICE, bus::pathOf(orvane::model_keys::COMMAND).c_str(),
                        bus::PROPERTIES_INTERFACE, "PropertiesChanged", onChange, nullptr);
    g_unix_fd_add(sd_bus_get_fd(connection), G_IO_IN, onReadable, nullptr);
}
