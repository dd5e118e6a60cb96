#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frame/process.h"
#include "objbus/object.h"
#include "simulator/television.h"
#include "television/delivery.h"
#include "television/mutex.h"
#include "television/status.h"

namespace frame {

/// Returns a new reference to the simulated root interface.
boost::shared_ptr<Interface> makeRootReference();

}  // namespace frame

namespace simulator {

using namespace television;

class ModelObject;

/// The state of one key. An entry is never removed, because the key's objects refer to the entry.
struct KeyEntry {
    std::string key;  ///< Set when the first object is published.
    ModelObject* published = nullptr;
    /// Includes withdrawn objects, because clients keep plain pointers to them.
    std::vector<std::unique_ptr<ModelObject>> currentAndWithdrawnObjects;
    /// Counts all operations except type queries. `KeyEntry::typeQueries` counts type queries without the mutex.
    KeyCounts callCounts;
    /// Incremented by a load and a store, because an atomic increment would take as long as the query itself.
    std::atomic<int> typeQueries = 0;
    ConnectFault connectFault{STATUS_OK, false, 0};
    ReadFault readFault;
    int invokeFault = STATUS_OK;
    std::atomic<Call> throwingCall = Call::none;
    bool notifiesDuringConnect = false;
    bool refusesIterators = false;
    int destroyIteratorFault = STATUS_OK;
    std::optional<IteratorRequest> lastIteratorRequest;

    /// Throws if `throwFrom` selected this call. Never throws for `none`.
    void throwIfFaulty(Call call) const {
        if (call != Call::none && call == throwingCall) {
            throw std::bad_alloc();
        }
    }
};

/// The data model. `mutex` guards the objects' state and the members that are marked with `NRX_GUARDED_BY`. A thread
/// that locks both `mutex` and the delivery's mutex locks `mutex` first.
class __attribute__((visibility("default"))) Model : public std::enable_shared_from_this<Model> {
public:
    /// Returns the model of the television that is on, or null.
    static std::shared_ptr<Model> currentOrNull();

    Model();

    int connect(std::string const& name, objbus::Observer* observer, objbus::Object*& object);
    int disconnect(std::string const& name, objbus::Observer* observer, objbus::Object const* object);

    /// Publishes a new `Object` under the key `name`.
    template <typename Object, typename... Arguments>
    void publish(std::string const& name, objbus::ObjectTypeSpec type, Arguments&&... arguments) NRX_EXCLUDES(mutex) {
        MutexLock const lock(mutex);
        KeyEntry& entry = keys[name];
        entry.key = name;
        entry.currentAndWithdrawnObjects.push_back(
            std::make_unique<Object>(*this, entry, type, std::forward<Arguments>(arguments)...));
        entry.published = entry.currentAndWithdrawnObjects.back().get();
        notifyListener(name);
    }

    bool withdraw(std::string const& name);
    void setObjectListener(ObjectListener listener);

    Mutex mutex;
    std::map<std::string, KeyEntry> keys NRX_GUARDED_BY(mutex);
    RootLookup rootLookupResult NRX_GUARDED_BY(mutex) = RootLookup::published;
    /// Allocated in advance, so that a lookup needs no memory.
    boost::shared_ptr<frame::Interface> const rootReference = frame::makeRootReference();
    int lookups NRX_GUARDED_BY(mutex) = 0;
    Delivery delivery;

private:
    struct ListenerRegistration {
        ObjectListener listener;
        std::shared_ptr<Registration> registration;
    };

    /// Notifies the listener that the key's object was published, replaced or withdrawn.
    void notifyListener(std::string const& name) NRX_REQUIRES(mutex);

    std::shared_ptr<ListenerRegistration> listener_ NRX_GUARDED_BY(mutex);  ///< Null without a listener.
};

}  // namespace simulator
