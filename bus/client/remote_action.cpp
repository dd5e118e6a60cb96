#include "bus/client/remote_action.h"

#include <utility>

#include "bus/client/failure.h"
#include "bus/protocol/contract.h"

namespace bus {

namespace {

constexpr std::size_t MAX_PENDING_INVOCATIONS = 1000;  ///< Limits the memory, because a television may never answer.

}  // namespace

int ActionObject::invoke(unsigned int& actionId, std::vector<objbus::Argument> const& arguments) {
    int const status = catchToStatus([&] {
        return call(
            ACTION_INTERFACE, "Invoke", [&arguments](sd_bus_message* message) { return append(message, arguments); },
            [this, &actionId](sd_bus_message* message) {
                unsigned int id = 0;
                NRX_TRY(read(message, id));
                addPendingInvocation(id);
                actionId = id;
                return 0;
            });
    });
    if (status == television::STATUS_NOT_CARRIED) {
        logFailure("invoke", status);
    }
    return logIfFailed("invoke", status);
}

void ActionObject::handleSignal(sd_bus_message* signal) {
    unsigned int id = 0;
    std::vector<objbus::Argument> results;
    int error = 0;
    bool const isResult = sd_bus_message_is_signal(signal, ACTION_INTERFACE, "Result") > 0;
    if (!isResult && sd_bus_message_is_signal(signal, ACTION_INTERFACE, "ExecutionError") <= 0) {
        return;
    }
    int const result = isResult ? readAll(signal, id, results) : readAll(signal, id, error);
    if (result < 0) {
        logFailure("notify", statusOfReadError(result));
    } else if (isResult) {
        notifyOutcome(id, [id, list = std::move(results)](auto& observer) { observer.notifyResult(id, list); });
    } else {
        notifyOutcome(id, [id, error](auto& observer) { observer.notifyExecutionError(id, error); });
    }
}

void ActionObject::abandonUnfinishedOperations() {
    for (; !pendingInvocations_.empty(); pendingInvocations_.pop_front()) {
        catchToStatus([this, id = pendingInvocations_.front()] {
            post([id](auto& observer) { observer.notifyExecutionError(id, television::STATUS_LOST); });
            return television::STATUS_OK;
        });
    }
}

void ActionObject::addPendingInvocation(unsigned int id) {
    television::MutexLock const lock(modelState().mutex);
    pendingInvocations_.push_back(id);
    if (pendingInvocations_.size() > MAX_PENDING_INVOCATIONS) {
        pendingInvocations_.pop_front();
    }
}

template <typename Notify>
void ActionObject::notifyOutcome(unsigned int id, Notify notify) {
    television::MutexLock const lock(modelState().mutex);
    std::erase(pendingInvocations_, id);
    post(std::move(notify));
}

}  // namespace bus
