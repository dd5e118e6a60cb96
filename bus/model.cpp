#include "bus/model.h"

#include <algorithm>
#include <csignal>
#include <utility>

#include "bus/contract.h"
#include "bus/root.h"

namespace bus {

namespace {

/// Hears which objects come and go.
class Manager final : public Listener {
public:
    explicit Manager(Model& model) : model_(model) {}

    void hear(sd_bus_message* signal) override {
        char const* path = nullptr;
        bool const comes = sd_bus_message_is_signal(signal, MANAGER_INTERFACE, "InterfacesAdded") > 0;
        bool const goes = sd_bus_message_is_signal(signal, MANAGER_INTERFACE, "InterfacesRemoved") > 0;
        if ((!comes && !goes) || sd_bus_message_read_basic(signal, SD_BUS_TYPE_OBJECT_PATH, &path) <= 0) {
            return;
        }
        std::vector<std::string> interfaces;
        if (comes) {
            model_.arrive(path);
        } else if (read(signal, interfaces) >= 0 &&
                   std::count(interfaces.begin(), interfaces.end(), OBJECT_INTERFACE) != 0) {
            model_.withdraw(path);
        }
    }

private:
    Model& model_;
};

/// While it lives, threads are made on which the signals meant for the process's own are not handled.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsBlocked(SignalsBlocked const&) = delete;
    SignalsBlocked& operator=(SignalsBlocked const&) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

}  // namespace

Link& RemoteObject::link() const { return model_.link; }

std::string const& RemoteObject::path() const { return place_.path; }

void RemoteObject::report(char const* operation, int status) const noexcept {
    reportFailure(place_.key, operation, status);
}

int RemoteObject::ask(char const* interface, char const* name, Content arguments, Content answer, Content late) const {
    if (withdrawn()) {
        return television::STATUS_WITHDRAWN;
    }
    int const status =
        link().ask({path(), interface, name}, in(PATIENCE), std::move(arguments), std::move(answer), std::move(late));
    return status == television::STATUS_NOT_PUBLISHED ? television::STATUS_WITHDRAWN : status;
}

Place::Place(Model& owner, std::string name) : model(owner), key(std::move(name)), path(pathOf(key)) {}

void Place::hear(sd_bus_message* signal) {
    RemoteObject* const object = [this] {
        std::lock_guard const lock(model.mutex);
        return current;
    }();
    if (object != nullptr) {
        object->hear(signal);
    }
}

Model& Model::get() {
    // Never destroyed: its threads run until the process ends, whatever else has been destroyed by then.
    static Model& model = [&]() -> Model& {
        SignalsBlocked const blocked;
        return *new Model;
    }();
    return model;
}

Model::Model() : root(makeRoot()), link(*this) {
    link.listen(MODEL_PATH, std::make_shared<Manager>(*this));
    link.begin();
}

std::shared_ptr<Place> Model::placeOf(std::string const& key) {
    std::lock_guard const lock(mutex);
    std::shared_ptr<Place>& place = places_[key];
    if (!place) {
        place = std::make_shared<Place>(*this, key);
    }
    return place;
}

void Model::use(std::shared_ptr<Place> const& place) {
    std::lock_guard const lock(mutex);
    if (place->users == 0) {
        link.listen(place->path, place);
    }
    ++place->users;
}

void Model::leave(Place& place, std::size_t users) {
    place.users -= users;
    if (users != 0 && place.users == 0) {
        link.forget(place.path);
    }
}

int Model::connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object) {
    auto const place = placeOf(key);
    use(place);
    int const status = safely([&] { return connectAt(*place, observer, object); });
    if (status != television::STATUS_OK) {
        std::lock_guard const lock(mutex);
        leave(*place, 1);
    }
    return status;
}

int Model::connectAt(Place& place, objbus::Observer* observer, objbus::Object*& object) {
    Deadline const deadline = in(CONNECT_PATIENCE);
    auto type = objbus::OBJECT_TYPE_NONE;
    int status = askForType(place, deadline, type);
    if (status != television::STATUS_OK) {
        return status;
    }
    RemoteObject& remote = objectAt(place, type);
    status = remote.prepare(deadline);
    if (status != television::STATUS_OK) {
        return status;
    }
    std::lock_guard const lock(mutex);
    if (remote.withdrawn()) {
        return television::STATUS_NOT_PUBLISHED;
    }
    remote.connect(observer);
    object = &remote.object();
    return television::STATUS_OK;
}

int Model::askForType(Place const& place, Deadline deadline, objbus::ObjectTypeSpec& type) {
    int number = 0;
    bool refused = false;
    auto const question = [](sd_bus_message* message) {
        return sd_bus_message_append(message, "ss", OBJECT_INTERFACE, "Type");
    };
    auto const answer = [&](sd_bus_message* message) {
        refused = link.refused(place.path);
        return readVariant(message, "i", number);
    };
    int const status = link.ask({place.path, PROPERTIES_INTERFACE, "Get"}, deadline, question, answer);
    type = static_cast<objbus::ObjectTypeSpec>(number);
    return refused ? television::STATUS_NOT_CARRIED : status;
}

RemoteObject& Model::objectAt(Place& place, objbus::ObjectTypeSpec type) {
    std::lock_guard const lock(mutex);
    if (place.current != nullptr && place.current->type() != type) {
        place.current->withdraw();
        place.current = nullptr;
    }
    if (place.current == nullptr) {
        place.objects.push_back(makeObject(*this, place, type));
        place.current = place.objects.back().get();
    }
    return *place.current;
}

int Model::disconnect(std::string const& key, objbus::Observer* observer, objbus::Object const* object) {
    std::size_t ended = 0;
    Place const* source = nullptr;
    {
        std::lock_guard const lock(mutex);
        if (auto const found = places_.find(key); found != places_.end()) {
            Place& place = *found->second;
            source = &place;
            for (auto const& candidate : place.objects) {
                if (object == nullptr || &candidate->object() == object) {
                    ended += candidate->disconnect(observer);
                }
            }
            leave(place, ended);
        }
    }
    delivery.waitWhileRunning(observer, source);  // With the mutex released: that notification may want it.
    return ended == 0 && object != nullptr ? television::STATUS_NOT_CONNECTED : television::STATUS_OK;
}

std::shared_ptr<Place> Model::placeAt(std::string_view path) {
    auto const key = keyOf(path);
    auto const found = key ? places_.find(*key) : places_.end();
    return found != places_.end() ? found->second : nullptr;
}

void Model::withdraw(std::string_view path) {
    std::lock_guard const lock(mutex);
    auto const place = placeAt(path);
    if (place && place->current != nullptr) {
        place->current->withdraw();
        place->current = nullptr;
    }
}

void Model::arrive(std::string_view path) {
    std::lock_guard const lock(mutex);
    auto const place = placeAt(path);
    if (place && place->isMissed) {
        recover(*place);
    }
}

void Model::handleGone() {
    std::lock_guard const lock(mutex);
    for (auto const& [key, place] : places_) {
        for (auto const& object : place->objects) {
            safely([&lost = *object] { return lost.lose(), television::STATUS_OK; });
        }
    }
}

void Model::handleBack() {
    std::lock_guard const lock(mutex);
    for (auto const& [key, place] : places_) {
        recover(*place);
    }
}

void Model::recover(Place& place) {
    place.isMissed = false;
    if (place.users != 0 && place.current != nullptr) {
        place.current->recover();
    }
}

}  // namespace bus
