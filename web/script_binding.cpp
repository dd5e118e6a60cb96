#include "web/script_binding.h"

#include <utility>
#include <vector>

#include "television/catch_to_status.h"
#include "web/calls.h"
#include "web/log.h"
#include "web/nrx_script.h"
#include "web/status.h"

namespace web {

using television::catchToStatus;
using television::STATUS_OK;

namespace {

/// The page receives at most this number of lists in one call of `deliverLists`. The page's timers, messages and
/// network replies run before the next lists.
constexpr int MAX_LISTS_PER_TURN = 64;
constexpr int PRIORITY_BELOW_TIMERS = G_PRIORITY_DEFAULT + 20;

/// The data of each native function. The script engine deletes the data with the function.
using Owner = std::shared_ptr<ScriptBinding>;
ScriptBinding& bindingOf(gpointer owner) { return **static_cast<Owner*>(owner); }

/// Logs an exception that nrx.js did not catch.
void reportException(JSCContext* context) {
    if (JSCException* const exception = jsc_context_get_exception(context)) {
        reportError(takeText(jsc_exception_report(exception)).c_str());
        jsc_context_clear_exception(context);
    }
}

}  // namespace

std::weak_ptr<ScriptBinding> ScriptBinding::install(JSCContext* context, FacadeWorker& worker) {
    auto const binding = std::make_shared<ScriptBinding>(worker);
    Ref<JSCValue> const native(jsc_value_new_object(context, nullptr, nullptr));
    auto const add = [&](char const* name, GCallback callback, GType result, std::vector<GType> types) {
        Ref<JSCValue> const function(
            jsc_value_new_functionv(context, name, callback, std::make_unique<Owner>(binding).release(), destroy<Owner>,
                                    result, static_cast<unsigned int>(types.size()), types.data()));
        jsc_value_object_set_property(native.get(), name, function.get());
    };
    add("attach", G_CALLBACK(+[](JSCValue* receiver, gpointer owner) {
            return catchToStatus([&] { return bindingOf(owner).attach(receiver), STATUS_OK; });
        }),
        G_TYPE_INT, {JSC_TYPE_VALUE});
    add("detach",
        G_CALLBACK(+[](gpointer owner) { catchToStatus([&] { return bindingOf(owner).detach(), STATUS_OK; }); }),
        G_TYPE_NONE, {});
    add("listen", G_CALLBACK(+[](char const* name, gboolean isOn, gpointer owner) {
            catchToStatus([&] { return bindingOf(owner).listen(name, isOn != FALSE), STATUS_OK; });
        }),
        G_TYPE_NONE, {G_TYPE_STRING, G_TYPE_BOOLEAN});
    add("call", G_CALLBACK(+[](char const* name, double id, char const* json, gpointer owner) {
            return catchToStatus([&] { return bindingOf(owner).call(name, id, json); });
        }),
        G_TYPE_INT, {G_TYPE_STRING, G_TYPE_DOUBLE, G_TYPE_STRING});

    Ref<JSCValue> const install(jsc_context_evaluate_with_source_uri(context, NRX_SCRIPT, -1, "nrx.js", 1));
    Ref<JSCValue> const result(jsc_value_function_call(install.get(), JSC_TYPE_VALUE, native.get(), G_TYPE_NONE));
    reportException(context);
    return binding;
}

void ScriptBinding::attach(JSCValue* receiver) {
    detach();
    auto queue = std::make_shared<ListQueue>([binding = weak_from_this()] {
        runOnMainContext([binding] {
            if (auto const self = binding.lock()) {
                self->deliverLists();
            }
        });
    });
    worker_.attach(queue);
    queue_ = std::move(queue);
    receiver_ = addRef(receiver);
    pendingCalls_ = 0;
}

void ScriptBinding::detach() {
    if (queue_ != nullptr) {
        receiver_ = nullptr;
        worker_.detach(*std::exchange(queue_, nullptr));
    }
}

void ScriptBinding::listen(char const* name, bool isOn) {
    if (auto const type = listTypeOf(name); type && queue_ != nullptr) {
        worker_.listen(*queue_, *type, isOn);
    }
}

int ScriptBinding::call(char const* name, double id, char const* json) {
    if (queue_ == nullptr) {
        return STATUS_PAGE_HIDDEN;
    }
    if (pendingCalls_ >= MAX_PENDING_CALLS) {
        return STATUS_TOO_MANY_CALLS;
    }
    FacadeWorker::Operation operation;
    if (int const status = parseCall(name, json, operation); status != STATUS_OK) {
        return status;
    }
    worker_.call(queue_, std::move(operation), [binding = weak_from_this(), queue = queue_, id](Answer const& answer) {
        if (auto const self = binding.lock(); self != nullptr && self->queue_ == queue) {
            --self->pendingCalls_;
            self->invokeReceiveAnswer(id, answer);
        }
    });
    ++pendingCalls_;
    return STATUS_OK;
}

void ScriptBinding::deliverLists() {
    for (int count = 0; count < MAX_LISTS_PER_TURN; ++count) {
        auto const queued = queue_ == nullptr ? std::nullopt : queue_->pop();
        if (!queued) {
            return;
        }
        Ref<JSCValue> const receiver = addRef(receiver_.get());  // The script may detach, which resets `receiver_`.
        Ref<JSCValue> const isUpdateDue(jsc_value_object_invoke_method(
            receiver.get(), "receiveList", G_TYPE_STRING, LIST_NAMES.at(indexOf(queued->type)), G_TYPE_STRING,
            queued->list->c_str(), G_TYPE_NONE));
        if (jsc_value_to_boolean(isUpdateDue.get()) != FALSE) {
            Ref<JSCValue> const result(jsc_value_object_invoke_method(receiver.get(), "updateListening", G_TYPE_NONE));
        }
        reportException(jsc_value_get_context(receiver.get()));
    }
    runOnMainContext([self = shared_from_this()] { self->deliverLists(); }, PRIORITY_BELOW_TIMERS);
}

void ScriptBinding::invokeReceiveAnswer(double id, Answer const& answer) {
    Ref<JSCValue> const receiver = addRef(receiver_.get());
    Ref<JSCValue> const result(jsc_value_object_invoke_method(receiver.get(), "receiveAnswer", G_TYPE_DOUBLE, id,
                                                              G_TYPE_INT, answer.status, G_TYPE_STRING,
                                                              answer.json.c_str(), G_TYPE_NONE));
    reportException(jsc_value_get_context(receiver.get()));
}

}  // namespace web
