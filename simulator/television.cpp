#include "simulator/television.h"

#include <stdexcept>
#include <type_traits>

#include "simulator/model.h"
#include "simulator/model_object.h"

namespace simulator {

namespace {

std::mutex currentMutex;
std::shared_ptr<Model> currentModel;

// Each publishes `value` as an object of its kind.

void publishValue(Model& model, std::string const& key, int value) {
    model.publish<IntegerObject>(key, objbus::OBJECT_TYPE_NUMERIC_INTEGER, value);
}

void publishValue(Model& model, std::string const& key, long long value) {
    model.publish<Int64Object>(key, objbus::OBJECT_TYPE_NUMERIC_INT64, value);
}

void publishValue(Model& model, std::string const& key, std::string value) {
    model.publish<StringObject>(key, objbus::OBJECT_TYPE_STRING, std::move(value));
}

void publishValue(Model& model, std::string const& key, std::vector<int> value) {
    model.publish<IntegerListObject>(key, objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, std::move(value));
}

void publishValue(Model& model, std::string const& key, std::vector<std::string> value) {
    model.publish<StringListObject>(key, objbus::OBJECT_TYPE_VECTOR_STRING, std::move(value));
}

}  // namespace

std::shared_ptr<Model> Model::current() {
    std::lock_guard const lock(currentMutex);
    return currentModel;
}

Television::Television() : model_(std::make_shared<Model>()) {
    std::lock_guard const lock(currentMutex);
    if (currentModel) {
        throw std::logic_error("simulator: a television is on already");
    }
    currentModel = model_;
}

Television::~Television() {
    model_->delivery.stop();  // First: until it has ended, a client's disconnect waits for what is running.
    std::lock_guard const lock(currentMutex);
    currentModel.reset();
}

void Television::publish(std::string const& key, Value value) {
    std::visit([&](auto& typed) { publishValue(*model_, key, std::move(typed)); }, value);
}

void Television::publishAction(std::string const& key, ActionScript script) {
    model_->publish<ActionObject>(key, std::move(script));
}

void Television::publishTable(std::string const& key, Rows rows) {
    model_->publish<TableObject>(key, objbus::OBJECT_TYPE_TABLE, std::move(rows));
}

void Television::publishBare(std::string const& key, objbus::ObjectTypeSpec type) {
    switch (type) {  // A client casts an object to the kind that its type names, so that it must be one.
        case objbus::OBJECT_TYPE_NUMERIC_INTEGER:
            return publish(key, 0);
        case objbus::OBJECT_TYPE_NUMERIC_INT64:
            return publish(key, 0LL);
        case objbus::OBJECT_TYPE_STRING:
            return publish(key, std::string());
        case objbus::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return publish(key, std::vector<int>());
        case objbus::OBJECT_TYPE_VECTOR_STRING:
            return publish(key, std::vector<std::string>());
        case objbus::OBJECT_TYPE_ACTION:
            return publishAction(key, {});
        case objbus::OBJECT_TYPE_VECTOR_INTEGER:
            return model_->publish<BareObject>(key, type);
        case objbus::OBJECT_TYPE_TABLE:
        case objbus::OBJECT_TYPE_NONE:
            break;
    }
    // Also for a type that names no kind: who wants a table takes such an object for one.
    model_->publish<TableObject>(key, type, Rows());
}

bool Television::withdraw(std::string const& key) { return model_->withdraw(key); }

bool Television::set(std::string const& key, Value const& value) {
    std::lock_guard const lock(model_->mutex);
    ModelObject* const published = model_->keys[key].published;
    return published != nullptr && published->change(value);
}

std::optional<Value> Television::get(std::string const& key) const {
    std::lock_guard const lock(model_->mutex);
    ModelObject const* const published = model_->keys[key].published;
    return published != nullptr ? published->value() : std::nullopt;
}

std::map<std::string, objbus::ObjectTypeSpec> Television::objects() const {
    std::lock_guard const lock(model_->mutex);
    std::map<std::string, objbus::ObjectTypeSpec> objects;
    for (auto const& [key, state] : model_->keys) {
        if (state.published != nullptr) {
            objects.emplace(key, state.published->type());
        }
    }
    return objects;
}

std::optional<objbus::ObjectTypeSpec> Television::type(std::string const& key) const {
    std::lock_guard const lock(model_->mutex);
    auto const found = model_->keys.find(key);
    bool const isPublished = found != model_->keys.end() && found->second.published != nullptr;
    return isPublished ? std::optional(found->second.published->type()) : std::nullopt;
}

void Television::setObjectListener(ObjectListener listener) { model_->setObjectListener(std::move(listener)); }

bool Television::setRows(std::string const& key, Rows rows) {
    std::lock_guard const lock(model_->mutex);
    auto* const table = dynamic_cast<TableObject*>(model_->keys[key].published);
    if (table == nullptr) {
        return false;
    }
    table->setRows(std::move(rows));
    return true;
}

void Television::waitUntilDelivered() { model_->delivery.waitUntilDone(); }

void Television::setRootLookup(RootLookup answer) {
    std::lock_guard const lock(model_->mutex);
    model_->rootLookup = answer;
}

void Television::failConnects(std::string const& key, ConnectFault fault) {
    std::lock_guard const lock(model_->mutex);
    model_->keys[key].connectFault = fault;
}

void Television::failReads(std::string const& key, ReadFault fault) {
    std::lock_guard const lock(model_->mutex);
    model_->keys[key].readFault = fault;
}

void Television::failInvokes(std::string const& key, int status) {
    std::lock_guard const lock(model_->mutex);
    model_->keys[key].invokeFault = status;
}

void Television::throwFrom(std::string const& key, Call call) {
    std::lock_guard const lock(model_->mutex);
    model_->keys[key].throwing = call;
}

void Television::notifyEarly(std::string const& key, bool early) {
    std::lock_guard const lock(model_->mutex);
    model_->keys[key].notifiesEarly = early;
}

void Television::refuseIterators(std::string const& key, bool refuse) {
    std::lock_guard const lock(model_->mutex);
    model_->keys[key].refusesIterators = refuse;
}

void Television::failDestroys(std::string const& key, int status) {
    std::lock_guard const lock(model_->mutex);
    model_->keys[key].destroyFault = status;
}

int Television::lookups() const {
    std::lock_guard const lock(model_->mutex);
    return model_->lookups;
}

KeyCounts Television::counts(std::string const& key) const {
    std::lock_guard const lock(model_->mutex);
    Key const& counted = model_->keys[key];
    KeyCounts counts = counted.counts;
    counts.typeQueries = counted.typeQueries;
    return counts;
}

int Television::registrations(std::string const& key) const {
    std::lock_guard const lock(model_->mutex);
    int count = 0;
    for (auto const& object : model_->keys[key].objects) {
        count += object->registrations();
    }
    return count;
}

std::optional<IteratorRequest> Television::iteratorRequest(std::string const& key) const {
    std::lock_guard const lock(model_->mutex);
    return model_->keys[key].iteratorRequest;
}

}  // namespace simulator
