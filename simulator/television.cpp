#include "simulator/television.h"

#include <stdexcept>
#include <type_traits>

#include "simulator/model.h"
#include "simulator/model_object.h"
#include "television/presence_notifier.h"

namespace simulator {

namespace {

Mutex currentMutex;
std::shared_ptr<Model> currentModel NRX_GUARDED_BY(currentMutex);

template <typename Field, typename T>
void setField(Model& model, std::string const& key, Field KeyEntry::*field, T const& value) {
    MutexLock const lock(model.mutex);
    model.keys[key].*field = value;
}

/// Never destroyed, because the destructor of a static `Television` may use the notifier when the process ends.
television::PresenceNotifier& notifier() {
    static auto& notifier = *new television::PresenceNotifier;
    return notifier;
}

}  // namespace

television::Presence presence() { return notifier().presence(); }

void setPresenceListener(television::PresenceListener listener) { notifier().setListener(std::move(listener)); }

std::shared_ptr<Model> Model::currentOrNull() {
    MutexLock const lock(currentMutex);
    return currentModel;
}

Television::Television() : model_(std::make_shared<Model>()) {
    {
        MutexLock const lock(currentMutex);
        if (currentModel) {
            throw std::logic_error("simulator: a television is on already");
        }
        currentModel = model_;
    }
    notifier().setPresent(true, std::shared_ptr<Delivery>(model_, &model_->delivery));
}

Television::~Television() {
    // `stop` waits for the running notification. `currentModel` is reset only afterwards. Otherwise a client's
    // disconnect could find no current model and return without waiting, and the client could destroy an observer whose
    // notification still runs.
    model_->delivery.stop();
    {
        MutexLock const lock(currentMutex);
        currentModel.reset();
    }
    notifier().setPresent(false, nullptr);
}

void Television::publish(std::string const& key, Value value) {
    std::visit(
        [&]<typename T>(T& typed) {
            model_->publish<ObjectClasses::PlainValueObject<T>>(key, PlainKindTraits<T>::TYPE, std::move(typed));
        },
        value);
}

void Television::publishAction(std::string const& key, ActionScript script) {
    model_->publish<ActionObject>(key, objbus::OBJECT_TYPE_ACTION, std::move(script));
}

void Television::publishTable(std::string const& key, Rows rows) {
    model_->publish<TableObject>(key, objbus::OBJECT_TYPE_TABLE, std::move(rows));
}

void Television::publishBare(std::string const& key, objbus::ObjectTypeSpec type) {
    dispatchOnObjectType<ObjectClasses>(type, [&]<typename Object>() { model_->publish<Object>(key, type); });
}

bool Television::withdraw(std::string const& key) { return model_->withdraw(key); }

bool Television::set(std::string const& key, Value const& value) {
    MutexLock const lock(model_->mutex);
    ModelObject* const published = model_->keys[key].published;
    return published != nullptr && published->replaceValue(value);
}

std::optional<Value> Television::get(std::string const& key) const {
    MutexLock const lock(model_->mutex);
    ModelObject const* const published = model_->keys[key].published;
    return published != nullptr ? published->value() : std::nullopt;
}

std::map<std::string, objbus::ObjectTypeSpec> Television::objects() const {
    MutexLock const lock(model_->mutex);
    std::map<std::string, objbus::ObjectTypeSpec> objects;
    for (auto const& [key, state] : model_->keys) {
        if (state.published != nullptr) {
            objects.emplace(key, state.published->type());
        }
    }
    return objects;
}

std::optional<objbus::ObjectTypeSpec> Television::type(std::string const& key) const {
    MutexLock const lock(model_->mutex);
    auto const found = model_->keys.find(key);
    bool const isPublished = found != model_->keys.end() && found->second.published != nullptr;
    return isPublished ? std::optional(found->second.published->type()) : std::nullopt;
}

void Television::setObjectListener(ObjectListener listener) { model_->setObjectListener(std::move(listener)); }

bool Television::setRows(std::string const& key, Rows rows) {
    MutexLock const lock(model_->mutex);
    auto* const table = dynamic_cast<TableObject*>(model_->keys[key].published);
    if (table == nullptr) {
        return false;
    }
    table->setRows(std::move(rows));
    return true;
}

void Television::waitUntilDelivered() { model_->delivery.waitUntilPostedAreDelivered(); }

void Television::setRootLookup(RootLookup answer) {
    MutexLock const lock(model_->mutex);
    model_->rootLookupResult = answer;
}

void Television::failConnects(std::string const& key, ConnectFault fault) {
    setField(*model_, key, &KeyEntry::connectFault, fault);
}

void Television::failReads(std::string const& key, ReadFault fault) {
    setField(*model_, key, &KeyEntry::readFault, fault);
}

void Television::failInvokes(std::string const& key, int status) {
    setField(*model_, key, &KeyEntry::invokeFault, status);
}

void Television::throwFrom(std::string const& key, Call call) { setField(*model_, key, &KeyEntry::throwingCall, call); }

void Television::notifyEarly(std::string const& key, bool early) {
    setField(*model_, key, &KeyEntry::notifiesDuringConnect, early);
}

void Television::refuseIterators(std::string const& key, bool refuse) {
    setField(*model_, key, &KeyEntry::refusesIterators, refuse);
}

void Television::failDestroys(std::string const& key, int status) {
    setField(*model_, key, &KeyEntry::destroyIteratorFault, status);
}

int Television::lookups() const {
    MutexLock const lock(model_->mutex);
    return model_->lookups;
}

KeyCounts Television::counts(std::string const& key) const {
    MutexLock const lock(model_->mutex);
    KeyEntry const& counted = model_->keys[key];
    KeyCounts counts = counted.callCounts;
    counts.typeQueries = counted.typeQueries;
    return counts;
}

int Television::registrations(std::string const& key) const {
    MutexLock const lock(model_->mutex);
    std::size_t count = 0;
    for (auto const& object : model_->keys[key].currentAndWithdrawnObjects) {
        count += object->observerCount();
    }
    return static_cast<int>(count);
}

std::optional<IteratorRequest> Television::iteratorRequest(std::string const& key) const {
    MutexLock const lock(model_->mutex);
    return model_->keys[key].lastIteratorRequest;
}

}  // namespace simulator
