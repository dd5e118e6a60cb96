#pragma once

#include <glib-object.h>

#include <functional>
#include <memory>
#include <string>

namespace web {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
/// A reference to an object of GLib's.
template <typename T>
using Ref = std::unique_ptr<T, Unref>;

/// Another reference to the object.
template <typename T>
Ref<T> addRef(T* object) {
    return Ref<T>(static_cast<T*>(g_object_ref(object)));
}

/// The text, which is freed.
std::string takeText(char* text);

/// Runs the task later on the thread of GLib's main context; from any thread.
void runOnMainContext(std::function<void()> task, int priority = G_PRIORITY_DEFAULT);

}  // namespace web
