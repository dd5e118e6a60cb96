#pragma once

#include <jsc/jsc.h>

#include <cstddef>
#include <memory>

#include "web/facade_worker.h"
#include "web/glib.h"
#include "web/list_queue.h"

namespace web {

/// Connects the script nrx.js of one document with the facade worker. Runs on the main thread.
///
/// The script's native functions own the binding. The binding is attached from the script's first use of the binding
/// until the document is hidden. Only an attached binding refers to the script's functions, and so keeps the document
/// alive.
class ScriptBinding : public std::enable_shared_from_this<ScriptBinding> {
public:
    /// Defines `nrx` in the document of `context`, before the document's first script. The worker must outlive the
    /// document.
    static std::weak_ptr<ScriptBinding> install(JSCContext* context, FacadeWorker& worker);

    explicit ScriptBinding(FacadeWorker& worker) : worker_(worker) {}
    ScriptBinding(ScriptBinding const&) = delete;
    ScriptBinding& operator=(ScriptBinding const&) = delete;
    ~ScriptBinding() = default;

    /// Releases the document. The script receives no list and no answer until it attaches again.
    void detach();

private:
    // The script's native functions.
    void attach(JSCValue* receiver);
    void listen(char const* name, bool isOn);
    int call(char const* name, double id, char const* json);

    /// Passes the waiting lists to the script.
    void deliverLists();
    void invokeReceiveAnswer(double id, Answer const& answer);

    FacadeWorker& worker_;
    std::shared_ptr<ListQueue> queue_;  // Null while detached, like `receiver_`.
    Ref<JSCValue> receiver_;            // The script's object with the functions that the binding calls.
    std::size_t pendingCalls_ = 0;      // The number of unanswered calls that began after the last attach.
};

}  // namespace web
