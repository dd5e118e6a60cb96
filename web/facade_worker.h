#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access_client.h"
#include "television/mutex.h"
#include "web/event_queue.h"
#include "web/list_type.h"
#include "web/session.h"

namespace web {

/// Uses the facade for the documents of a process, on a thread of its own: the calls, in their order, and the connects.
///
/// The main thread calls the public operations; none waits. The delivery thread hands the lists to the queues of the
/// documents that listen. A list that is not connected while a document listens is connected again every second.
class FacadeWorker : public orvane::NRXModelAccessClient {
public:
    /// Hands a task to the main thread, from any thread.
    using Executor = std::function<void(std::function<void()> task)>;
    /// What the worker thread does for a call.
    using Operation = std::function<Answer(Session&)>;

    /// Starts the thread. Throws `std::system_error` if the system has no room for one.
    explicit FacadeWorker(Executor runOnMain);
    FacadeWorker(FacadeWorker const&) = delete;
    FacadeWorker& operator=(FacadeWorker const&) = delete;
    /// Returns when the session is destroyed. What waited is not done.
    virtual ~FacadeWorker();

    /// A document uses the facade from now on. The first one begins a session.
    void attach(std::shared_ptr<EventQueue> document);
    /// Closes the queue and drops the calls that the worker has not begun for the document. After the last document the
    /// session ends.
    void detach(EventQueue& document);
    /// Once it has returned, every list that comes reaches the queue, or none does.
    void listen(EventQueue& document, ListType type, bool isOn);
    /// `done` is called with the answer on the main thread, unless the document is detached before.
    void call(std::shared_ptr<EventQueue const> document, Operation operation, std::function<void(Answer)> done);

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds RECONNECT_PAUSE{1};

    void onNRXCommandReceived(std::vector<std::string> const& parameters) override;
    void onNRXEventReceived(std::vector<std::string> const& parameters) override;
    void distribute(ListType type, std::vector<std::string> const& texts) noexcept;

    /// What the worker thread does, and the document that it is done for, if any.
    struct Task {
        std::function<void()> run;
        std::shared_ptr<EventQueue const> document;
    };
    void post(Task task);
    void run();
    void updateSwitch(ListType type);
    [[nodiscard]] bool isListenedTo(ListType type) const NRX_REQUIRES(mutex_);
    /// Whether a document listens to a list that is not connected.
    [[nodiscard]] bool isConnectDue() NRX_REQUIRES(mutex_);
    void connectMissing() noexcept;

    Executor const runOnMain_;
    std::shared_ptr<Session> session_;  // The main thread's; null without a document.
    std::shared_ptr<Session> current_;  // The worker's: once it was started.
    Clock::time_point nextConnect_;     // The worker's.

    television::Mutex mutex_;
    std::condition_variable isPosted_;
    std::deque<Task> tasks_ NRX_GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<EventQueue>> documents_ NRX_GUARDED_BY(mutex_);
    bool isStopping_ NRX_GUARDED_BY(mutex_) = false;

    std::thread thread_;  // The last, so that the others are there when it starts.
};

}  // namespace web
