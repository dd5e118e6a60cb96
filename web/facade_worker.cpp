#include "web/facade_worker.h"

#include <algorithm>
#include <utility>

#include "television/catch_to_status.h"
#include "web/log.h"

namespace web {

FacadeWorker::FacadeWorker(Executor runOnMain) : runOnMain_(std::move(runOnMain)), thread_([this] { run(); }) {}

FacadeWorker::~FacadeWorker() {
    {
        television::MutexLock const lock(mutex_);
        isStopping_ = true;
    }
    workAvailable_.notify_one();
    thread_.join();
}

void FacadeWorker::attach(std::shared_ptr<ListQueue> documentQueue) {
    {
        television::MutexLock const lock(mutex_);
        documentQueues_.reserve(documentQueues_.size() + 1);  // If memory runs out, throws before a session starts.
    }
    if (session_ == nullptr) {
        auto session = std::make_shared<FacadeSession>(*this);
        // When the worker thread runs this task, only the task and `startedSession_` refer to the session. So the
        // worker thread destroys the session.
        Tasks end{{[this, session] { startedSession_ = nullptr; }, nullptr}};
        auto const start = [this, session] {
            if (!session->isQueuedStartCancelled()) {
                startedSession_ = session;
                session->start();
                nextReconnect_ = Clock::now() + RECONNECT_INTERVAL;
            }
        };
        post({{start, nullptr}});
        session_ = std::move(session);
        endSessionTask_ = std::move(end);
    }
    television::MutexLock const lock(mutex_);
    documentQueues_.push_back(std::move(documentQueue));
}

void FacadeWorker::detach(ListQueue& documentQueue) {
    documentQueue.close();
    bool isLast = false;
    Tasks dropped;
    {
        television::MutexLock const lock(mutex_);
        for (auto next = tasks_.begin(); next != tasks_.end();) {
            auto const task = next++;
            if (task->documentQueue.get() == &documentQueue) {
                dropped.splice(dropped.end(), tasks_, task);
            }
        }
        if (std::erase_if(documentQueues_, [&](auto const& attached) { return attached.get() == &documentQueue; }) ==
            0) {
            return;
        }
        isLast = documentQueues_.empty();
    }
    // The dropped tasks refer to the session. The tasks are destroyed before `endSessionTask_` is posted, so that the
    // worker thread drops the last reference.
    dropped.clear();
    for (ListType const type : LISTS) {
        updateFacadeListenerOnMain(type);
    }
    if (isLast) {
        session_->cancelQueuedStart();
        session_ = nullptr;
        post(std::exchange(endSessionTask_, {}));
    }
}

void FacadeWorker::listen(ListQueue& documentQueue, ListType type, bool isOn) {
    documentQueue.setListening(type, isOn);
    updateFacadeListenerOnMain(type);
    // The worker may have to connect the list. `updateFacadeListenerOnMain` has locked the mutex after `setListening`,
    // and the worker holds the mutex between its check and its wait. So the worker either sees the change or already
    // waits for this notification.
    workAvailable_.notify_one();
}

void FacadeWorker::call(std::shared_ptr<ListQueue const> documentQueue, Operation operation,
                        std::function<void(Answer)> done) {
    auto run = [this, session = session_, operation = std::move(operation), done = std::move(done)] {
        Answer answer;
        int const status = television::catchToStatus([&] {
            answer = operation(*session);
            return answer.status;
        });
        answer.status = status;
        retryWhileOutOfMemory([&] { runOnMain_([done, answer] { done(answer); }); });
    };
    post({{std::move(run), std::move(documentQueue)}});
}

void FacadeWorker::distribute(ListType type, std::vector<std::string> const& texts) noexcept {
    int const status = television::catchToStatus([&] {
        auto const list = std::make_shared<std::string const>(jsonOf(texts));
        std::vector<std::shared_ptr<ListQueue>> queues;
        {
            television::MutexLock const lock(mutex_);
            queues = documentQueues_;
        }
        for (auto const& queue : queues) {
            queue->push(type, list);
        }
        return television::STATUS_OK;
    });
    if (status != television::STATUS_OK) {
        reportError("memory ran out, a list did not reach the pages");
    }
}

void FacadeWorker::updateFacadeListenerOnMain(ListType type) {
    bool isOn = false;
    {
        television::MutexLock const lock(mutex_);
        isOn = hasListeningDocument(type);
    }
    session_->setListening(type, isOn);
}

void FacadeWorker::post(Tasks task) {
    {
        television::MutexLock const lock(mutex_);
        tasks_.splice(tasks_.end(), task);
    }
    workAvailable_.notify_one();
}

template <typename Post>
void FacadeWorker::retryWhileOutOfMemory(Post const& post) {
    while (television::catchToStatus([&] { return post(), television::STATUS_OK; }) != television::STATUS_OK) {
        television::MutexLock lock(mutex_);
        if (isStopping_) {
            return;
        }
        lock.waitUntil(workAvailable_, Clock::now() + NO_MEMORY_PAUSE);
    }
}

void FacadeWorker::run() {
    television::MutexLock lock(mutex_);
    while (!isStopping_) {
        if (!tasks_.empty()) {
            {
                Tasks task;
                task.splice(task.end(), tasks_, tasks_.begin());
                lock.unlock();
                television::catchToStatus([&] { return task.front().run(), television::STATUS_OK; });
            }
            lock.lock();
        } else if (!isReconnectNeeded()) {
            lock.wait(workAvailable_);
        } else if (Clock::now() < nextReconnect_) {
            lock.waitUntil(workAvailable_, nextReconnect_);
        } else {
            lock.unlock();
            reconnectListAccesses();
            nextReconnect_ = Clock::now() + RECONNECT_INTERVAL;
            lock.lock();
        }
    }
    lock.unlock();
    startedSession_ = nullptr;
    session_ = nullptr;
    endSessionTask_.clear();
}

bool FacadeWorker::hasListeningDocument(ListType type) const {
    return std::any_of(documentQueues_.begin(), documentQueues_.end(),
                       [&](auto const& queue) { return queue->isListening(type); });
}

bool FacadeWorker::isReconnectNeeded() {
    for (ListType const type : LISTS) {
        if (startedSession_ != nullptr && !startedSession_->list(type).isConnected() && hasListeningDocument(type)) {
            return true;
        }
    }
    return false;
}

void FacadeWorker::reconnectListAccesses() noexcept {
    for (ListType const type : LISTS) {
        if (ListAccess& list = startedSession_->list(type); !list.isConnected()) {
            list.tryConnect();
        }
    }
}

}  // namespace web
