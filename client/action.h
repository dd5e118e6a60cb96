#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "client/detail/connection.h"
#include "client/executor.h"
#include "client/result.h"
#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/action_access.h"

namespace orvane::client {

/// The texts that an action receives, by position.
using Arguments = std::vector<std::string>;

/// The largest number of arguments that a call may have.
inline constexpr std::size_t MOST_ARGUMENTS = 128;

/// The texts of an action's result by position, or the failure.
using Answer = Result<std::vector<std::string>>;

namespace detail {

/// The identifier that this layer passed with its newest invocation. The television may replace the identifier. No two
/// invocations of this layer in the process pass the same identifier, because the television sends each answer to all
/// clients of the action, and a client recognises its answers by the identifier. The identifiers count down from the
/// largest number.
inline std::atomic<unsigned int> NRX_EXPORT lastActionId = 0;

/// The calls of an action that have no answer yet. Receives the answers from the access object.
class PendingCalls final : public HandlerQueue, public support::ActionHandler {
public:
    using Receiver = std::shared_ptr<std::function<void(Answer const&)>>;

    PendingCalls(std::string const& key, Executor executor) : HandlerQueue(std::move(executor), OPEN), key_(key) {}

    /// Calls `invoke`, which sets the identifier of the answer and returns a status. If `invoke` fails, or if the
    /// answer arrives before the receiver is stored, this thread calls the receiver. Otherwise the delivery thread
    /// calls the receiver.
    template <typename Invoke>
    void start(Receiver const& receiver, Invoke const& invoke) {
        struct Invocation {
            PendingCalls& calls;
            explicit Invocation(PendingCalls& pending) : calls(pending) {
                std::lock_guard const lock(calls.callMutex_);
                ++calls.invocations_;
            }
            ~Invocation() {  // Runs also if the platform throws.
                std::lock_guard const lock(calls.callMutex_);
                if (--calls.invocations_ == 0) {
                    calls.early_.clear();
                }
            }
        } const invocation(*this);
        unsigned int id = --lastActionId;
        int const status = invoke(id);
        if (status != support::STATUS_OK) {
            return (*receiver)(failure(Cause::STATUS, status));
        }
        std::unique_lock lock(callMutex_);
        auto const early = early_.extract(id);
        if (early.empty()) {
            waiting_.emplace(id, receiver);
            return;
        }
        lock.unlock();
        (*receiver)(early.mapped());
    }

    /// Removes the receiver. A later answer is not passed to the receiver.
    void forget(Receiver const& receiver) {
        std::lock_guard const lock(callMutex_);
        for (auto call = waiting_.begin(); call != waiting_.end();) {
            call = call->second == receiver ? waiting_.erase(call) : std::next(call);
        }
    }

    [[nodiscard]] Failure failure(Cause cause, int code = 0) const { return {"call", key_, cause, code}; }

    void handleResult(unsigned int id, support::ValueObject const& results) override {
        std::vector<std::string> texts = results;
        handleAnswer(id, std::move(texts));
    }
    void handleExecutionError(unsigned int id, int error) override {
        handleAnswer(id, failure(Cause::EXECUTION_ERROR, error));
    }

private:
    void handleAnswer(unsigned int id, Answer const& answer) {
        NotificationScope const scope;
        std::unique_lock lock(callMutex_);
        if (auto const call = waiting_.extract(id)) {
            lock.unlock();
            (*call.mapped())(answer);
        } else if (invocations_ != 0) {
            early_.emplace(id, answer);
        }
    }

    std::string const key_;
    std::mutex callMutex_;
    // The mutex guards the next three members. The maps are multimaps, because a television may repeat an identifier.
    int invocations_ = 0;
    std::multimap<unsigned int, Receiver> waiting_;
    std::multimap<unsigned int, Answer> early_;
};

}  // namespace detail

/// One action of the television's data model.
///
///     client::Action timer("timer.sleep");
///     auto const answer = timer.call({"30"}, 2s);
///     answer ? show(answer->at(0)) : log(describe(answer.error()));
///
/// A failure of a call has one of these causes:
/// - `STATUS`: The library did not start the action, or the model returned a status of its own. The library's status is
///   5 if the action was not obtained in time, and 6 if the object is no action or if there are too many arguments.
///   Some televisions return a status although the action may have been started.
/// - `EXECUTION_ERROR`: The action was started and failed.
/// - `NO_ANSWER`: The action was started, but its answer did not arrive in time. A later answer is dropped.
/// - `WOULD_DEADLOCK`: A handler on the delivery thread made a call that waits. The action was not started.
///
/// The rules of a `Property` for connecting, use by threads and destruction also hold for an `Action`. After the
/// destruction, handlers of unanswered calls are never called.
class Action {
public:
    /// Does not connect. The executor calls the handlers. Without an executor, the delivery thread calls the handlers.
    explicit Action(std::string const& key, Executor executor = {})
        : access_(new Access(key, std::make_shared<detail::PendingCalls>(key, std::move(executor)))) {
        access_->setActionResultHandler(access_->queue);
    }

    /// Starts the action and waits for its answer. `timeout` limits the connect and the wait for the answer, but does
    /// not interrupt the model's own `invoke`. If `timeout` has ended when the connect returns, the call does not start
    /// the action. With a `timeout` of 0, the action is therefore never started. In a handler that the delivery thread
    /// runs, the call fails at once with `WOULD_DEADLOCK` and starts no action.
    Answer call(Arguments const& arguments, std::chrono::milliseconds timeout) {
        auto const calls = access_->queue;
        if (detail::isNotified) {
            return calls->failure(Cause::WOULD_DEADLOCK);
        }
        auto const deadline = detail::deadlineAfter(timeout);
        auto const promise = std::make_shared<std::promise<Answer>>();
        auto answer = promise->get_future();
        auto const receiver = start(arguments, deadline, [promise](Answer const& given) { promise->set_value(given); });
        if (answer.wait_until(deadline) == std::future_status::ready) {
            return answer.get();
        }
        calls->forget(receiver);
        return calls->failure(Cause::NO_ANSWER);
    }

    /// Starts the action. `handler(Answer const&)` is called once, with the answer or with the failure to start.
    /// Without an executor, the delivery thread calls the handler. If the action does not start, or if the answer
    /// arrives before `call` returns, the thread that calls `call` may call the handler instead. This object keeps the
    /// handler until the television answers.
    template <typename Handler, typename = std::enable_if_t<std::is_invocable_v<std::decay_t<Handler>&, Answer const&>>>
    void call(Arguments const& arguments, Handler&& handler) {
        auto const calls = access_->queue;  // The handler may destroy this object.
        start(arguments, detail::deadlineAfter(detail::DEFAULT_TIMEOUT),
              [&calls = *calls, handler = detail::copyable(std::forward<Handler>(handler))](Answer const& answer) {
                  calls.post([handler, answer] { handler(answer); });
              });
    }

private:
    using Access = detail::Connection<detail::support::ActionAccess, detail::PendingCalls>;

    detail::PendingCalls::Receiver start(Arguments const& arguments, detail::Deadline deadline,
                                         std::function<void(Answer const&)> receive) {
        auto receiver = std::make_shared<std::function<void(Answer const&)>>(std::move(receive));
        access_->queue->start(receiver, [&](unsigned int& id) {
            if (arguments.size() > MOST_ARGUMENTS) {
                return static_cast<int>(detail::support::STATUS_ERR_VALUE_TYPE_MISMATCH);
            }
            std::vector<objbus::Argument> records;
            for (std::string const& text : arguments) {
                records.push_back({0, static_cast<std::int8_t>(records.size()), 0, text});
            }
            int const status = access_->connectUntil(deadline);
            if (status != detail::support::STATUS_OK) {
                return status;
            }
            bool const isLate = std::chrono::steady_clock::now() >= deadline;
            return isLate ? detail::support::STATUS_ERR_CONNECT_FAILED : access_->invoke(id, records);
        });
        return receiver;
    }

    detail::Owned<Access> access_;
};

}  // namespace orvane::client
