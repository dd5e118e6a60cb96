#pragma once

#include <jsc/jsc.h>

#include <cstddef>
#include <memory>

#include "web/event_queue.h"
#include "web/facade_worker.h"
#include "web/glib.h"

namespace web {

/// Connects the script nrx.js in one document with the facade worker, on the main thread.
///
/// The script's native functions own it. It holds functions of the script, and so the document, only while it is
/// attached: from the script's first use of it until the document is hidden.
class ScriptBinding : public std::enable_shared_from_this<ScriptBinding> {
public:
    /// Gives the document of `context` the object `nrx`; before its first script. The worker must outlive the document.
    static std::weak_ptr<ScriptBinding> install(JSCContext* context, FacadeWorker& worker);

    explicit ScriptBinding(FacadeWorker& worker) : worker_(worker) {}
    ScriptBinding(ScriptBinding const&) = delete;
    ScriptBinding& operator=(ScriptBinding const&) = delete;
    ~ScriptBinding() = default;

    /// Releases the document: its script receives no list and no answer until it attaches again.
    void detach();

private:
    /// What the script's native functions do.
    int attach(JSCValue* receiveList, JSCValue* updateLists, JSCValue* receiveAnswer);
    void listen(char const* name, bool isOn);
    int call(char const* name, double id, char const* json);

    /// Hands the lists that wait to the script.
    void deliver();
    void answer(double id, Answer const& answer);

    FacadeWorker& worker_;
    std::shared_ptr<EventQueue> queue_;  // Not null while attached, like the functions.
    Ref<JSCValue> receiveList_;
    Ref<JSCValue> updateLists_;
    Ref<JSCValue> receiveAnswer_;
    std::size_t pendingCalls_ = 0;  // Since it was attached.
};

}  // namespace web
