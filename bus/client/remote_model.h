#pragma once

#include <future>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bus/client/object_resync_queue.h"
#include "bus/client/remote_object.h"
#include "television/presence_notifier.h"

namespace bus {

/// One observer's request to connect, and the television's answer. If the answer arrives after the timeout of a
/// `connect`, a later `connect` uses the answer.
struct ObserverConnectAttempt {
    std::promise<int> statusPromise{};
    std::shared_future<int> status = statusPromise.get_future().share();
    bool isStatusSet = false;                     ///< Whether `status` is set. Used on the connection's thread.
    RemoteObject* objectFromTypeReply = nullptr;  ///< Set before `status` gets the value 0.
    // A `connect` after `earliestRepeatedRequest` requests the object's type again, because the television may lose a
    // request. The model state's mutex guards `retryInterval` and `earliestRepeatedRequest`.
    std::chrono::seconds retryInterval{1};
    Deadline earliestRepeatedRequest = deadlineAfter(retryInterval);

    [[nodiscard]] bool hasStatus() const {
        return status.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }
    /// After a status 0: whether the object is published. Otherwise: whether `earliestRepeatedRequest` is in the
    /// future.
    [[nodiscard]] bool isUsableForNextConnect() const {
        return hasStatus() && status.get() == television::STATUS_OK
                   ? objectFromTypeReply->isPublished()
                   : std::chrono::steady_clock::now() < earliestRepeatedRequest;
    }
};

/// The state of one key. Never removed, because clients keep plain pointers to the key's objects.
struct KeyEntry {
    explicit KeyEntry(std::string name);

    std::string const key;
    std::string const path;
    /// The current and earlier objects. Guarded by the model state's mutex; changed on the connection's thread only.
    std::vector<std::unique_ptr<RemoteObject>> objects{};
    /// The observers' attempts to connect whose status no `connect` has returned yet. Guarded by the model state's
    /// mutex.
    std::map<objbus::Observer const*, std::shared_ptr<ObserverConnectAttempt>> unreturnedAttempts{};
};

/// The part of the television's model that this process uses. Lives as long as the process.
class RemoteModel final : public SharedModelState, private ServiceWatcher {
public:
    /// The first call starts the thread of the delivery and the thread of the connection, which connects to the bus.
    /// Throws if the system lacks the resources for the model or these threads.
    static RemoteModel& get();

    int connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object);
    int disconnect(std::string const& key, objbus::Observer* observer, objbus::Object const* object);

    television::PresenceNotifier televisionPresence{sharedDelivery()};

private:
    RemoteModel();
    /// The returned pointer does not own the delivery, because the delivery lives as long as the process.
    std::shared_ptr<television::Delivery> sharedDelivery() { return {std::shared_ptr<void>(), &delivery}; }
    void handleNameVanished() override;
    void handleNameAppeared() override;
    void handleSignal(sd_bus_message* signal) override;
    void handleObjectManagerSignal(sd_bus_message* signal);
    KeyEntry& findOrCreateEntry(std::string const& key);
    KeyEntry* findByPath(std::string_view path);
    std::shared_ptr<RemoteIterator> findIterator(std::string_view path);
    bool receivesSignals(RemoteObject const& object);
    std::shared_ptr<ObserverConnectAttempt> findRepeatOrStartAttempt(KeyEntry& entry, objbus::Observer const* observer);
    void requestTypeAndInitialValue(KeyEntry& entry, std::shared_ptr<ObserverConnectAttempt> const& attempt);
    RemoteObject& switchToObjectOfType(KeyEntry& entry, objbus::ObjectTypeSpec type);

    std::map<std::string, std::unique_ptr<KeyEntry>> entries_ NRX_GUARDED_BY(mutex);
    std::map<std::string_view, KeyEntry*> entriesByPath_ NRX_GUARDED_BY(mutex);
    ObjectResyncQueue resyncQueue_{*this};
};

}  // namespace bus
