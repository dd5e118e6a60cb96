#include "web/facade_worker.h"

#include <algorithm>
#include <utility>

#include "television/catch_to_status.h"
#include "television/report.h"
#include "web/log.h"

namespace web {

FacadeWorker::FacadeWorker(Executor runOnMain) : runOnMain_(std::move(runOnMain)), thread_([this] { run(); }) {}

FacadeWorker::~FacadeWorker() {
    {
        television::MutexLock const lock(mutex_);
        isStopping_ = true;
    }
    isPosted_.notify_one();
    thread_.join();
}

void FacadeWorker::attach(std::shared_ptr<EventQueue> document) {
    {
        television::MutexLock const lock(mutex_);
        documents_.push_back(document);
    }
    if (session_ == nullptr) {
        try {
            auto session = std::make_shared<Session>(*this);
            post({[this, session] {
                      if (!session->isEnded()) {
                          current_ = session;
                          session->start();
                          nextConnect_ = Clock::now() + RECONNECT_PAUSE;
                      }
                  },
                  nullptr});
            session_ = std::move(session);
        } catch (...) {
            television::MutexLock const lock(mutex_);
            documents_.pop_back();
            throw;
        }
    }
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
        auto const place = std::find_if(documents_.begin(), documents_.end(),
                                        [&](auto const& attached) { return attached.get() == &document; });
        if (place == documents_.end()) {
            return;
        }
        documents_.erase(place);
        isLast = documents_.empty();
    }
    dropped.clear();  // With the mutex unlocked, and before the worker may hold the last reference to the session.
    for (ListType const type : LISTS) {
        updateSwitch(type);
    }
    if (isLast) {
        session_->end();
        // The worker destroys the session: with this task goes the last reference.
        post({[this, session = std::exchange(session_, nullptr)] { current_ = nullptr; }, nullptr});
    }
}

void FacadeWorker::listen(EventQueue& document, ListType type, bool isOn) {
    document.setListening(type, isOn);
    updateSwitch(type);
    // A connect may be due. `updateSwitch` had the mutex, so that the worker waits or has yet to look.
    isPosted_.notify_one();
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
    post({std::move(run), std::move(document)});
}

void FacadeWorker::onNRXCommandReceived(std::vector<std::string> const& parameters) {
    distribute(ListType::COMMAND, parameters);
}

void FacadeWorker::onNRXEventReceived(std::vector<std::string> const& parameters) {
    distribute(ListType::EVENT, parameters);
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
        television::report(LOG_TAG, "memory ran out, a list did not reach the pages");
    }
}

void FacadeWorker::updateSwitch(ListType type) {
    bool isOn = false;
    {
        television::MutexLock const lock(mutex_);
        isOn = isListenedTo(type);
    }
    session_->setListening(type, isOn);
}

void FacadeWorker::post(Task task) {
    {
        television::MutexLock const lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    isPosted_.notify_one();
}

void FacadeWorker::run() {
    television::MutexLock lock(mutex_);
    while (!isStopping_) {
        if (!tasks_.empty()) {
            {
                Task const task = std::move(tasks_.front());
                tasks_.pop_front();
                lock.unlock();
                television::catchToStatus([&] {
                    task.run();
                    return television::STATUS_OK;
                });
            }
            lock.lock();
        } else if (!isConnectDue()) {
            lock.wait(isPosted_);
        } else if (Clock::now() < nextConnect_) {
            lock.waitUntil(isPosted_, nextConnect_);
        } else {
            lock.unlock();
            connectMissing();
            nextConnect_ = Clock::now() + RECONNECT_PAUSE;
            lock.lock();
        }
    }
    lock.unlock();
    current_ = nullptr;
    session_ = nullptr;
}

bool FacadeWorker::isListenedTo(ListType type) const {
    return std::any_of(documents_.begin(), documents_.end(),
                       [&](auto const& document) { return document->isListening(type); });
}

bool FacadeWorker::isConnectDue() {
    bool isDue = false;
    for (ListType const type : LISTS) {
        isDue = isDue || (current_ != nullptr && !current_->list(type).isConnected() && isListenedTo(type));
    }
    return isDue;
}

void FacadeWorker::connectMissing() noexcept {
    for (ListType const type : LISTS) {
        ListAccess& list = current_->list(type);
        television::catchToStatus([&] {
            if (!list.isConnected()) {
                list.connectOnce();
            }
            return television::STATUS_OK;
        });
    }
}

}  // namespace web
