#pragma once

#include <future>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bus/client/recovery_queue.h"
#include "bus/client/remote_object.h"
#include "television/presence_notifier.h"

// Private to the platform library.

namespace bus {

/// The television's answer to the attempts of one observer to connect. The answer may take longer than one attempt
/// waits, and the next attempt takes it then.
struct ConnectAttempt {
    std::promise<int> answer{};
    std::shared_future<int> status = answer.get_future().share();
    bool isAnswered = false;         ///< Used on the connection's thread.
    RemoteObject* object = nullptr;  ///< Set before the answer, if that is 0.
    // Guarded by the context's mutex. A call that the television has lost is repeated.
    std::chrono::seconds retryInterval{1};
    Deadline nextCall = deadlineAfter(retryInterval);

    [[nodiscard]] bool isReady() const { return status.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }
    /// Whether another attempt may take the answer: a success while it holds, a failure until the next call is due.
    [[nodiscard]] bool isUsable() const {
        return isReady() && status.get() == television::STATUS_OK ? object->isPublished()
                                                                  : std::chrono::steady_clock::now() < nextCall;
    }
};

/// Everything about one key. Never removed, since clients keep plain pointers to its objects.
struct KeyEntry {
    explicit KeyEntry(std::string name);

    std::string const key;
    std::string const path;
    /// The present object and earlier ones. Guarded by the context's mutex, and changed on the connection's thread
    /// only.
    std::vector<std::unique_ptr<RemoteObject>> objects{};
    /// Attempts whose answers their observers have not taken. Guarded by the context's mutex.
    std::map<objbus::Observer const*, std::shared_ptr<ConnectAttempt>> attempts{};
};

/// The television's model, as far as this process knows it. Lives as long as the process.
class RemoteModel final : public ModelContext, private ServiceWatcher {
public:
    /// The first call connects to the bus. Throws if the system lacks the resources for that.
    static RemoteModel& get();

    int connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object);
    int disconnect(std::string const& key, objbus::Observer* observer, objbus::Object const* object);

    television::PresenceNotifier presence;

private:
    RemoteModel();
    void handleNameVanished() override;
    void handleNameAppeared() override;
    void handleSignal(sd_bus_message* signal) override;
    void handleManagerSignal(sd_bus_message* signal);
    KeyEntry& findOrCreateEntry(std::string const& key);
    KeyEntry* findByPath(std::string_view path);
    std::shared_ptr<RemoteIterator> findIterator(std::string_view path);
    bool isObserved(RemoteObject const& object);
    std::shared_ptr<ConnectAttempt> findOrStartAttempt(KeyEntry& entry, objbus::Observer const* observer);
    void requestType(KeyEntry& entry, std::shared_ptr<ConnectAttempt> const& attempt);
    RemoteObject& findOrCreateObject(KeyEntry& entry, objbus::ObjectTypeSpec type);

    std::map<std::string, std::unique_ptr<KeyEntry>> entries_ NRX_GUARDED_BY(mutex);
    std::map<std::string_view, KeyEntry*> entriesByPath_ NRX_GUARDED_BY(mutex);
    RecoveryQueue recoveries_{*this};
};

}  // namespace bus
