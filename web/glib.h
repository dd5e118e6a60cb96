#pragma once

#include <glib-object.h>

#include <functional>
#include <memory>
#include <string>

namespace web {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
/// A reference to a GLib object.
template <typename T>
using Ref = std::unique_ptr<T, Unref>;

/// Returns a further reference to the object.
template <typename T>
Ref<T> addRef(T* object) {
    return Ref<T>(static_cast<T*>(g_object_ref(object)));
}

/// Deletes a `T`. Can be passed as a `GDestroyNotify`.
template <typename T>
void destroy(gpointer data) {
    std::default_delete<T>()(static_cast<T*>(data));
}

/// Converts and frees a text of GLib; null becomes an empty text.
std::string takeText(char* text);

/// Queues the task for the thread that runs GLib's main context. Callable from any thread.
void runOnMainContext(std::function<void()> task, int priority = G_PRIORITY_DEFAULT);

}  // namespace web
