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

void FacadeWorker::attach(std::shared_ptr<EventQueue> document) {
    {
        television::MutexLock const lock(mutex_);
        documents_.reserve(documents_.size() + 1);  // No session starts if the document cannot be added.
    }
    if (session_ == nullptr) {
        auto session = std::make_shared<Session>(*this);
        post([this, session] {
            if (!session->isStartCancelled()) {
                startedSession_ = session;
                session->start();
                nextReconnect_ = Clock::now() + RECONNECT_INTERVAL;
            }
        });
        session_ = std::move(session);
    }
    television::MutexLock const lock(mutex_);
    documents_.push_back(std::move(document));
}

void FacadeWorker::detach(EventQueue& document) {
    document.close();
    bool isLast = false;
    std::deque<Task> dropped;
    {
        television::MutexLock const lock(mutex_);
        std::deque<Task> kept;
        for (Task& task : tasks_) {
            (task.document.get() == &document ? dropped : kept).push_back(std::move(task));
        }
        tasks_.swap(kept);
        if (std::erase_if(documents_, [&](auto const& attached) { return attached.get() == &document; }) == 0) {
            return;
        }
        isLast = documents_.empty();
    }
    dropped.clear();  // The tasks refer to the session, whose last reference the worker thread must drop.
    for (ListType const type : LISTS) {
        updateListener(type);
    }
    if (isLast) {
        session_->cancelStart();
        // The task holds the last reference, so the worker destroys the session.
        post([this, session = std::exchange(session_, nullptr)] { startedSession_ = nullptr; });
    }
}

void FacadeWorker::listen(EventQueue& document, ListType type, bool isOn) {
    document.setListening(type, isOn);
    updateListener(type);
    // The list may need a connect. `updateListener` has locked the mutex after the change, so no wake-up is lost.
    workAvailable_.notify_one();
}

void FacadeWorker::call(std::shared_ptr<EventQueue const> document, Operation operation,
                        std::function<void(Answer)> done) {
    auto run = [this, session = session_, operation = std::move(operation), done = std::move(done)] {
        Answer answer;
        int const status = television::catchToStatus([&] {
            answer = operation(*session);
            return answer.status;
        });
        runOnMain_([done, answer = Answer{status, std::move(answer.json)}] { done(answer); });
    };
    post(std::move(run), std::move(document));
}

void FacadeWorker::distribute(ListType type, std::vector<std::string> const& texts) noexcept {
    int const status = television::catchToStatus([&] {
        auto const list = std::make_shared<std::string const>(jsonOf(texts));
        std::vector<std::shared_ptr<EventQueue>> documents;
        {
            television::MutexLock const lock(mutex_);
            documents = documents_;
        }
        for (auto const& document : documents) {
            document->push(type, list);
        }
        return television::STATUS_OK;
    });
    if (status != television::STATUS_OK) {
        report("memory ran out, a list did not reach the pages");
    }
}

void FacadeWorker::updateListener(ListType type) {
    bool isOn = false;
    {
        television::MutexLock const lock(mutex_);
        isOn = hasListeningDocument(type);
    }
    session_->setListening(type, isOn);
}

void FacadeWorker::post(std::function<void()> run, std::shared_ptr<EventQueue const> document) {
    {
        television::MutexLock const lock(mutex_);
        tasks_.push_back({std::move(run), std::move(document)});
    }
    workAvailable_.notify_one();
}

void FacadeWorker::run() {
    television::MutexLock lock(mutex_);
    while (!isStopping_) {
        if (!tasks_.empty()) {
            {
                Task const task = std::move(tasks_.front());
                tasks_.pop_front();
                lock.unlock();
                television::catchToStatus([&] { return task.run(), television::STATUS_OK; });
            }
            lock.lock();
        } else if (!isReconnectNeeded()) {
            lock.wait(workAvailable_);
        } else if (Clock::now() < nextReconnect_) {
            lock.waitUntil(workAvailable_, nextReconnect_);
        } else {
            lock.unlock();
            reconnectLists();
            nextReconnect_ = Clock::now() + RECONNECT_INTERVAL;
            lock.lock();
        }
    }
    lock.unlock();
    startedSession_ = nullptr;
    session_ = nullptr;
}

bool FacadeWorker::hasListeningDocument(ListType type) const {
    return std::any_of(documents_.begin(), documents_.end(),
                       [&](auto const& document) { return document->isListening(type); });
}

bool FacadeWorker::isReconnectNeeded() {
    for (ListType const type : LISTS) {
        if (startedSession_ != nullptr && !startedSession_->list(type).isConnected() && hasListeningDocument(type)) {
            return true;
        }
    }
    return false;
}

void FacadeWorker::reconnectLists() noexcept {
    for (ListType const type : LISTS) {
        if (ListAccess& list = startedSession_->list(type); !list.isConnected()) {
            list.connectOnce();
        }
    }
}

}  // namespace web
