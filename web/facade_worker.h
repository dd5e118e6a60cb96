#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access_client.h"
#include "television/mutex.h"
#include "web/facade_session.h"
#include "web/list_queue.h"
#include "web/list_type.h"

namespace web {

/// Makes the calls and the connects of all documents of the process, in order, on one worker thread.
///
/// The main thread calls the public operations, which never block. The delivery thread pushes each list to the queues
/// of the documents that listen. While a document listens to a list that is not connected, the worker tries to connect
/// the list every second.
class FacadeWorker : public orvane::NRXModelAccessClient {
public:
    /// Posts a task to the main thread, from any thread.
    using Executor = std::function<void(std::function<void()> task)>;
    /// The part of a call that runs on the worker thread.
    using Operation = std::function<Answer(FacadeSession&)>;

    /// Starts the thread. Throws `std::system_error` if the system cannot create a thread.
    explicit FacadeWorker(Executor runOnMain);
    FacadeWorker(FacadeWorker const&) = delete;
    FacadeWorker& operator=(FacadeWorker const&) = delete;
    /// Destroys the session and joins the thread. Drops the calls that the worker has not started.
    virtual ~FacadeWorker();

    /// Registers a document. The first document starts a session.
    void attach(std::shared_ptr<ListQueue> documentQueue);
    /// Closes the queue and drops the document's calls that the worker has not started. The detach of the last document
    /// ends the session. Allocates no memory.
    void detach(ListQueue& documentQueue);
    /// Starts or stops listening to the lists of a type. The change applies to every list that arrives after
    /// `listen` has returned.
    void listen(ListQueue& documentQueue, ListType type, bool isOn);
    /// Runs the operation on the worker thread, then `done` on the main thread with the operation's answer.
    void call(std::shared_ptr<ListQueue const> documentQueue, Operation operation, std::function<void(Answer)> done);

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds RECONNECT_INTERVAL{1};
    static constexpr std::chrono::milliseconds NO_MEMORY_PAUSE{10};

    void onNRXCommandReceived(std::vector<std::string> const& texts) override { distribute(ListType::COMMAND, texts); }
    void onNRXEventReceived(std::vector<std::string> const& texts) override { distribute(ListType::EVENT, texts); }
    /// Pushes a list to the documents that listen.
    void distribute(ListType type, std::vector<std::string> const& texts) noexcept;

    /// Work for the worker thread. `documentQueue` is the queue of the document whose call the task makes, or null if
    /// the task makes no call.
    struct Task {
        std::function<void()> run;
        std::shared_ptr<ListQueue const> documentQueue;
    };
    using Tasks = std::list<Task>;  // A splice moves a task and allocates no memory.
    void post(Tasks task);
    /// Calls `post`. Repeats the call if memory runs out, until the worker stops.
    template <typename Post>
    void retryWhileOutOfMemory(Post const& post);
    void run();
    /// Starts or stops the facade's listener of the type. Called on the main thread, which owns `session_`.
    void updateFacadeListenerOnMain(ListType type);
    [[nodiscard]] bool hasListeningDocument(ListType type) const NRX_REQUIRES(mutex_);
    /// Whether a document listens to a list that is not connected.
    [[nodiscard]] bool isReconnectNeeded() NRX_REQUIRES(mutex_);
    void reconnectListAccesses() noexcept;

    Executor const runOnMain_;
    // At its end, the worker thread clears the main thread's members too, while the main thread waits in the
    // destructor.
    std::shared_ptr<FacadeSession> session_;         // Main thread only; null while no document is attached.
    std::shared_ptr<FacadeSession> startedSession_;  // Worker thread only.
    Tasks endSessionTask_;                           // Main thread only. The worker's task that ends the session.
    Clock::time_point nextReconnect_;                // Worker thread only.

    television::Mutex mutex_;
    std::condition_variable workAvailable_;
    Tasks tasks_ NRX_GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<ListQueue>> documentQueues_ NRX_GUARDED_BY(mutex_);
    bool isStopping_ NRX_GUARDED_BY(mutex_) = false;

    std::thread thread_;  // The last member, because the thread uses the others.
};

}  // namespace web
