// The method calls of the connection to the television.

#include <cassert>
#include <condition_variable>
#include <utility>

#include "bus/client/failure.h"
#include "bus/client/service_connection.h"
#include "bus/protocol/contract.h"
#include "television/mutex.h"
#include "television/status.h"

namespace bus {

/// One method call. The functions `arguments` and `reply` are called with the mutex held, so that the waiting caller
/// does not return while one of these functions runs.
struct ServiceConnection::PendingCall {
    ServiceConnection& connection;
    Method const method;
    CallOrigin const origin;
    MessageBody const arguments;
    MessageBody const reply;
    MessageBody const lateReply{};
    Completion const completion{};
    television::Mutex mutex{};
    std::condition_variable ended{};
    bool isEnded NRX_GUARDED_BY(mutex) = false;
    bool isAbandoned NRX_GUARDED_BY(mutex) = false;
    int status NRX_GUARDED_BY(mutex) = television::STATUS_NO_ANSWER;
    Slot slot{};  ///< Used on the connection's thread.

    void end(int result) NRX_EXCLUDES(mutex) {
        {
            television::MutexLock const lock(mutex);
            assert(!isEnded);
            status = result;
            isEnded = true;
            ended.notify_all();
        }
        if (completion) {
            completion(result);
        }
    }
};

int ServiceConnection::call(Method method, Deadline deadline, MessageBody arguments, MessageBody reply,
                            MessageBody lateReply) {
    std::shared_ptr<PendingCall> const call(new PendingCall{*this, std::move(method), CallOrigin::CLIENT_REQUEST,
                                                            std::move(arguments), std::move(reply),
                                                            std::move(lateReply)});
    tasks_.post([this, call] { connectIfNeededThenSendCall(call); });
    television::MutexLock lock(call->mutex);
    while (!call->isEnded && lock.waitUntil(call->ended, deadline)) {
    }
    call->isAbandoned = !call->isEnded;
    return call->isAbandoned && !isBusConnected_ ? static_cast<int>(television::STATUS_NO_BUS) : call->status;
}

void ServiceConnection::callAsync(Method method, CallOrigin origin, MessageBody arguments, MessageBody reply,
                                  Completion completion) {
    std::shared_ptr<PendingCall> const call(new PendingCall{
        *this, std::move(method), origin, std::move(arguments), std::move(reply), {}, std::move(completion)});
    tasks_.post([this, call] { connectIfNeededThenSendCall(call); });
}

void ServiceConnection::connectIfNeededThenSendCall(std::shared_ptr<PendingCall> const& call) {
    if (isReconnectPending_ && call->origin == CallOrigin::CLIENT_REQUEST) {
        runNoexcept([this] { connectBus(); });
    }
    sendCallCatchingExceptions(call);
}

void ServiceConnection::sendCallCatchingExceptions(std::shared_ptr<PendingCall> const& call) {
    try {
        sendHoldOrFailCall(call);
    } catch (...) {  // Memory ran out.
        call->end(television::STATUS_NO_RESOURCES);
    }
}

void ServiceConnection::sendHoldOrFailCall(std::shared_ptr<PendingCall> const& call) {
    if (isReconnectPending_) {
        int const status = statusOfSendError(connectError_);
        call->end(status == television::STATUS_NO_RESOURCES ? status : static_cast<int>(television::STATUS_NO_BUS));
    } else if (isOwnerReplyPending()) {
        heldCalls_.push_back(call);
    } else if (!owner_.empty()) {
        if (int const result = sendCall(call); result < 0) {
            call->end(statusOfSendError(result));
        }
    } else if (call->origin == CallOrigin::CLIENT_REQUEST) {
        heldCalls_.push_back(call);
        startService();
    } else {
        call->end(television::STATUS_NO_TELEVISION);
    }
}

int ServiceConnection::sendCall(std::shared_ptr<PendingCall> const& call) {
    television::MutexLock const lock(call->mutex);
    if (call->isAbandoned) {
        return 0;
    }
    Message message;
    NRX_TRY(newMethodCall(call->method, call->arguments, message));
    auto const sent = sentCalls_.emplace(call.get(), call).first;
    int const result = assignFromOutParameter(call->slot, [&](auto slot) {
        return sd_bus_call_async(bus_.get(), slot, message.get(), onReply, call.get(), 0);
    });
    if (result < 0) {
        sentCalls_.erase(sent);
    }
    return result;
}

void ServiceConnection::retryHeldCalls() {
    for (auto const& call : std::exchange(heldCalls_, {})) {
        runNoexcept([&] { sendCallCatchingExceptions(call); });
    }
}

void ServiceConnection::failHeldCalls(int status) {
    for (auto const& call : std::exchange(heldCalls_, {})) {
        runNoexcept([&] { call->end(status); });
    }
}

void ServiceConnection::failSentCalls(int status) {
    for (auto const& [key, call] : std::exchange(sentCalls_, {})) {
        call->slot.reset();
        runNoexcept([&ended = *call, status] { ended.end(status); });
    }
}

int ServiceConnection::onReply(sd_bus_message* message, void* pending, sd_bus_error* /*error*/) noexcept {
    return runNoexcept([&] {
        auto& calls = static_cast<PendingCall*>(pending)->connection.sentCalls_;
        assert(calls.contains(static_cast<PendingCall*>(pending)));
        std::shared_ptr<PendingCall> const call = calls.extract(static_cast<PendingCall*>(pending)).mapped();
        Slot const slot = std::move(call->slot);
        int status = television::STATUS_OK;
        if (sd_bus_error const* const error = sd_bus_message_get_error(message)) {
            status = statusOfError(*error);
        } else {
            television::MutexLock const lock(call->mutex);
            MessageBody const& readReply = call->isAbandoned ? call->lateReply : call->reply;
            status = catchToStatus([&] {
                int const result = readReply ? readReply(message) : 0;
                return result >= 0 ? static_cast<int>(television::STATUS_OK) : statusOfReadError(result);
            });
        }
        call->end(status);
    });
}

void ServiceConnection::callNoReply(Method method, MessageBody arguments, bool leavesBusIfNoResources) {
    tasks_.post([this, called = std::move(method), body = std::move(arguments), leavesBusIfNoResources] {
        auto const send = [&] {
            Message message;
            NRX_TRY(newMethodCall(called, body, message));
            NRX_TRY(sd_bus_message_set_expect_reply(message.get(), 0));
            return sd_bus_send(bus_.get(), message.get(), nullptr);
        };
        int const status = owner_.empty() ? static_cast<int>(television::STATUS_NO_TELEVISION) : catchToStatus([&] {
            int const result = send();
            return result < 0 ? statusOfSendError(result) : static_cast<int>(television::STATUS_OK);
        });
        if (status != television::STATUS_OK) {
            reportFailure(called.path, called.name, status);
        }
        if (status == television::STATUS_NO_RESOURCES && leavesBusIfNoResources) {
            leaveAndRejoinBus();
        }
    });
}

void ServiceConnection::leaveAndRejoinBus() {
    isLeaveRequested_ = true;
    tasks_.wake();
}

int ServiceConnection::newMethodCall(Method const& method, MessageBody const& arguments, Message& message) const {
    assert(!owner_.empty());
    NRX_TRY(assignFromOutParameter(message, [&](auto made) {
        return sd_bus_message_new_method_call(bus_.get(), made, owner_.c_str(), method.path.c_str(), method.interface,
                                              method.name);
    }));
    return arguments ? arguments(message.get()) : 0;
}

}  // namespace bus
