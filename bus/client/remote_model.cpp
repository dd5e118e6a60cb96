#include "bus/client/remote_model.h"

#include <algorithm>
#include <cassert>
#include <csignal>
#include <utility>

#include "bus/client/failure.h"
#include "bus/client/remote_table.h"
#include "bus/protocol/contract.h"
#include "television/report.h"

namespace bus {

namespace {

/// Blocks all signals except fault signals on this thread. Threads that this thread starts inherit the blocked signals.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t blocked;
        sigfillset(&blocked);
        // The model's threads inherit this mask, and the delivery thread runs observers. If an observer crashes, the
        // host's crash handler runs only if the crashed thread does not block the fault signal.
        for (int const fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
            sigdelset(&blocked, fault);
        }
        pthread_sigmask(SIG_SETMASK, &blocked, &before_);
    }
    SignalsBlocked(SignalsBlocked const&) = delete;
    SignalsBlocked& operator=(SignalsBlocked const&) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

}  // namespace

KeyEntry::KeyEntry(std::string name) : key(std::move(name)), path(pathOf(key)) {}

RemoteModel& RemoteModel::get() {
    // The model is never destroyed, because the model's threads also run while the process destroys its static objects.
    static RemoteModel& model = []() -> RemoteModel& {
        SignalsBlocked const blocked;
        return *new RemoteModel;
    }();
    return model;
}

RemoteModel::RemoteModel() : SharedModelState(static_cast<ServiceWatcher&>(*this)) {
    television::readLogEnvironment();
    delivery.start();
    connection.start();
}

KeyEntry& RemoteModel::findOrCreateEntry(std::string const& key) {
    television::MutexLock const lock(mutex);
    auto found = entries_.find(key);
    if (found == entries_.end()) {
        found = entries_.emplace(key, std::make_unique<KeyEntry>(key)).first;
    }
    KeyEntry& entry = *found->second;
    // Repeated for a known entry, because memory may have run out in this insertion in an earlier call.
    entriesByPath_.try_emplace(entry.path, &entry);
    return entry;
}

KeyEntry* RemoteModel::findByPath(std::string_view path) {
    television::MutexLock const lock(mutex);
    auto const found = entriesByPath_.find(path);
    return found != entriesByPath_.end() ? found->second : nullptr;
}

std::shared_ptr<RemoteIterator> RemoteModel::findIterator(std::string_view path) {
    television::MutexLock const lock(mutex);
    auto const found = iterators.find(path);
    return found != iterators.end() ? found->second : nullptr;
}

bool RemoteModel::receivesSignals(RemoteObject const& object) {
    television::MutexLock const lock(mutex);
    return object.observerCount() != 0 && !object.isWithdrawn();
}

int RemoteModel::connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object) {
    KeyEntry& entry = findOrCreateEntry(key);
    auto const attempt = findRepeatOrStartAttempt(entry, observer);
    if (attempt->status.wait_for(CONNECT_ATTEMPT_TIMEOUT) != std::future_status::ready) {
        return connection.isBusConnected() ? television::STATUS_NO_ANSWER : television::STATUS_NO_BUS;
    }
    television::MutexLock const lock(mutex);
    int status = attempt->status.get();
    if (status == television::STATUS_OK &&
        !attempt->objectFromTypeReply->isPublished()) {  // Withdrawn after the reply.
        status = television::STATUS_NOT_PUBLISHED;
    }
    if (status == television::STATUS_OK) {
        if (attempt->objectFromTypeReply->observerCount() == 0) {
            attempt->objectFromTypeReply->clearResyncState();
        }
        attempt->objectFromTypeReply->addRegistration(observer);
        object = &attempt->objectFromTypeReply->object();
    }
    if (auto const found = entry.unreturnedAttempts.find(observer);
        found != entry.unreturnedAttempts.end() && found->second == attempt) {
        entry.unreturnedAttempts.erase(found);
    }
    return status;
}

std::shared_ptr<ObserverConnectAttempt> RemoteModel::findRepeatOrStartAttempt(KeyEntry& entry,
                                                                              objbus::Observer const* observer) {
    std::shared_ptr<ObserverConnectAttempt> attempt;
    {
        television::MutexLock const lock(mutex);
        auto const found = entry.unreturnedAttempts.find(observer);
        if (found != entry.unreturnedAttempts.end() && found->second->isUsableForNextConnect()) {
            return found->second;
        }
        if (found != entry.unreturnedAttempts.end() && !found->second->hasStatus()) {
            attempt = found->second;
            attempt->retryInterval *= 2;
            attempt->earliestRepeatedRequest = deadlineAfter(attempt->retryInterval);
        } else {
            attempt = std::make_shared<ObserverConnectAttempt>();
        }
    }
    requestTypeAndInitialValue(entry, attempt);
    television::MutexLock const lock(mutex);
    // Stores a new attempt only after `requestTypeAndInitialValue`. If `requestTypeAndInitialValue` throws, a new
    // attempt never has a status, and a later connect must not wait for this attempt.
    entry.unreturnedAttempts.insert_or_assign(observer, attempt);
    return attempt;
}

void RemoteModel::requestTypeAndInitialValue(KeyEntry& entry, std::shared_ptr<ObserverConnectAttempt> const& attempt) {
    auto const reply = [this, &entry, attempt](sd_bus_message* message) {
        int type = 0;
        int const result = readVariant(message, "i", type);
        if (result >= 0 && !attempt->isStatusSet) {
            // The object must be known before the next message is handled, because that message may withdraw the
            // object.
            attempt->objectFromTypeReply = &switchToObjectOfType(entry, static_cast<objbus::ObjectTypeSpec>(type));
        }
        return result;
    };
    auto const complete = [attempt](int status) {
        auto const answer = [attempt](int initialStatus) {
            if (!std::exchange(attempt->isStatusSet, true)) {
                attempt->statusPromise.set_value(initialStatus);
            }
        };
        // A later connect may repeat the request of the same attempt, so `complete` and `answer` may be called several
        // times. Only the first call of `answer` sets the status.
        if (status != television::STATUS_OK || attempt->isStatusSet) {
            answer(status);
        } else {
            assert(attempt->objectFromTypeReply != nullptr);
            int const requested = catchToStatus([&] {
                attempt->objectFromTypeReply->requestValueBeforeConnect(answer);
                return television::STATUS_OK;
            });
            if (requested != television::STATUS_OK) {
                answer(requested);
            }
        }
    };
    connection.callAsync({entry.path, PROPERTIES_INTERFACE, "Get"}, CallOrigin::CLIENT_REQUEST,
                         propertyArguments(OBJECT_INTERFACE, "Type"), reply, complete);
}

RemoteObject& RemoteModel::switchToObjectOfType(KeyEntry& entry, objbus::ObjectTypeSpec type) {
    television::MutexLock const lock(mutex);
    RemoteObject* published = nullptr;
    for (auto const& object : entry.objects) {
        if (object->type() != type) {
            object->markWithdrawn();
        } else if (!object->isWithdrawn()) {
            published = object.get();
        }
    }
    if (published == nullptr) {
        entry.objects.push_back(makeObject(*this, entry, type));
        published = entry.objects.back().get();
    }
    published->markPublished();
    return *published;
}

int RemoteModel::disconnect(std::string const& key, objbus::Observer* observer, objbus::Object const* object) {
    std::size_t ended = 0;
    KeyEntry const* source = nullptr;
    {
        television::MutexLock const lock(mutex);
        if (auto const found = entries_.find(key); found != entries_.end()) {
            KeyEntry& entry = *found->second;
            source = &entry;
            entry.unreturnedAttempts.erase(observer);
            for (auto const& candidate : entry.objects) {
                if (object == nullptr || &candidate->object() == object) {
                    ended += candidate->removeRegistrations(observer);
                }
            }
        }
    }
    // The mutex is released during the wait, because a running notification may lock the mutex.
    delivery.waitWhileRunning(observer, source);
    return ended == 0 && object != nullptr ? television::STATUS_NOT_CONNECTED : television::STATUS_OK;
}

void RemoteModel::handleSignal(sd_bus_message* signal) {
    char const* const path = sd_bus_message_get_path(signal);
    if (path == nullptr) {
        return;
    }
    if (std::string_view(path) == MODEL_PATH) {
        handleObjectManagerSignal(signal);
    } else if (std::string_view(path).starts_with(ITERATOR_PATH)) {
        if (auto const iterator = findIterator(path)) {
            iterator->handleSignal(signal);
        }
    } else if (KeyEntry const* const entry = findByPath(path)) {
        for (auto const& object : entry->objects) {
            if (receivesSignals(*object)) {
                sd_bus_message_rewind(signal, 1);
                object->handleSignal(signal);
            }
        }
    }
}

void RemoteModel::handleObjectManagerSignal(sd_bus_message* signal) {
    char const* path = nullptr;
    bool const isAdded = sd_bus_message_is_signal(signal, OBJECT_MANAGER_INTERFACE, "InterfacesAdded") > 0;
    bool const isRemoved = sd_bus_message_is_signal(signal, OBJECT_MANAGER_INTERFACE, "InterfacesRemoved") > 0;
    if ((!isAdded && !isRemoved) || sd_bus_message_read_basic(signal, SD_BUS_TYPE_OBJECT_PATH, &path) <= 0) {
        return;
    }
    KeyEntry const* const entry = findByPath(path);
    std::vector<std::string> interfaces;
    if (entry == nullptr) {
        return;
    }
    if (isAdded) {
        resyncQueue_.addAllObjectsAndStart(*entry);
    } else if (read(signal, interfaces) >= 0 &&
               std::count(interfaces.begin(), interfaces.end(), OBJECT_INTERFACE) != 0) {
        television::MutexLock const lock(mutex);
        for (auto const& object : entry->objects) {
            object->markWithdrawn();
        }
    }
}

void RemoteModel::handleNameVanished() {
    runNoexcept([this] { televisionPresence.setPresent(false, sharedDelivery()); });
    resyncQueue_.cancelAll();
    television::MutexLock const lock(mutex);
    for (auto const& [key, entry] : entries_) {
        entry->unreturnedAttempts.clear();
        for (auto const& object : entry->objects) {
            catchToStatus([&lost = *object] {
                lost.abandonUnfinishedOperations();
                return television::STATUS_OK;
            });
            object->markPublicationUnknown();
        }
    }
}

void RemoteModel::handleNameAppeared() {
    televisionPresence.setPresent(true, sharedDelivery());
    // This function is called again after memory has run out. Resyncs may then still be in the queue.
    resyncQueue_.cancelAll();
    {
        television::MutexLock const lock(mutex);
        for (auto const& [key, entry] : entries_) {
            resyncQueue_.addAllObjects(*entry);
        }
    }
    resyncQueue_.start();
}

}  // namespace bus
