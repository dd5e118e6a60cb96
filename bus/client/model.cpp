#include "bus/client/model.h"

#include <algorithm>
#include <csignal>
#include <utility>

#include "bus/client/remote_table.h"
#include "bus/protocol/contract.h"
#include "television/report.h"

namespace bus {

namespace {

/// The bus has a limit for the calls of a process that are not answered yet, of which clients make some, too.
constexpr std::size_t MOST_RECOVERIES = 64;
constexpr std::chrono::milliseconds FIRST_RECOVERY_DELAY{100};
constexpr std::chrono::milliseconds LAST_RECOVERY_DELAY{10'000};

/// While it lives, threads are made on which no signal of the process is handled, but for those of a fault.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t blocked;
        sigfillset(&blocked);
        for (int const fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
            sigdelset(&blocked, fault);  // The host's handler of crashes runs where an observer has crashed.
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

Link& RemoteObject::link() const { return model_.link; }

std::string const& RemoteObject::path() const { return place_.path; }

void RemoteObject::report(char const* operation, int status) const noexcept {
    reportFailure(place_.key, operation, status);
}

int RemoteObject::call(char const* interface, char const* name, Content arguments, Content reply, Content late) const {
    if (isWithdrawn()) {
        return television::STATUS_WITHDRAWN;
    }
    int const status = link().call({path(), interface, name}, deadlineAfter(CALL_TIMEOUT), std::move(arguments),
                                   std::move(reply), std::move(late));
    return status == television::STATUS_NOT_PUBLISHED ? television::STATUS_WITHDRAWN : status;
}

void RemoteObject::recover(Completion completion) {
    auto const type = std::make_shared<int>(0);
    auto const reply = [type](sd_bus_message* message) { return readVariant(message, "i", *type); };
    auto const confirm = [this, type, completion = std::move(completion)](int status) {
        if (status == television::STATUS_OK && *type == type_) {
            std::lock_guard const lock(model_.mutex);
            markPublished();
            endRecovery();
        }
        completion(status);
    };
    link().callAsync({path(), PROPERTIES_INTERFACE, "Get"}, Caller::PLATFORM, propertyOf(OBJECT_INTERFACE, "Type"),
                     reply, confirm);
}

Content propertyOf(char const* interface, char const* property) {
    return [=](sd_bus_message* message) { return sd_bus_message_append(message, "ss", interface, property); };
}

Place::Place(std::string name) : key(std::move(name)), path(pathOf(key)) {}

Model& Model::get() {
    // Never destroyed: its threads run until the process ends, whatever else has been destroyed by then.
    static Model& model = []() -> Model& {
        SignalsBlocked const blocked;
        return *new Model;
    }();
    return model;
}

Model::Model() : link(*this) {
    television::readLogEnvironment();
    delivery.start();
    link.start();
}

Place& Model::findOrCreatePlace(std::string const& key) {
    std::lock_guard const lock(mutex);
    auto found = places_.find(key);
    if (found == places_.end()) {
        found = places_.emplace(key, std::make_unique<Place>(key)).first;
    }
    Place& place = *found->second;
    placesByPath_.try_emplace(place.path, &place);  // Again, if memory ran out here before.
    return place;
}

Place* Model::findByPath(std::string_view path) {
    std::lock_guard const lock(mutex);
    auto const found = placesByPath_.find(path);
    return found != placesByPath_.end() ? found->second : nullptr;
}

bool Model::isObserved(RemoteObject const& object) {
    std::lock_guard const lock(mutex);
    return object.hasObservers() && !object.isWithdrawn();
}

int Model::connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object) {
    Place& place = findOrCreatePlace(key);
    auto const attempt = attemptOf(place, observer);
    if (attempt->status.wait_for(CONNECT_TIMEOUT) != std::future_status::ready) {
        return link.isOnBus() ? television::STATUS_NO_ANSWER : television::STATUS_NO_BUS;
    }
    std::lock_guard const lock(mutex);
    int status = attempt->status.get();
    if (status == television::STATUS_OK && !attempt->object->isPublished()) {  // Not any more.
        status = television::STATUS_NOT_PUBLISHED;
    }
    if (status == television::STATUS_OK) {
        attempt->object->connect(observer);
        object = &attempt->object->object();
    }
    if (auto const found = place.attempts.find(observer); found != place.attempts.end() && found->second == attempt) {
        place.attempts.erase(found);
    }
    return status;
}

std::shared_ptr<Place::Attempt> Model::attemptOf(Place& place, objbus::Observer const* observer) {
    std::shared_ptr<Place::Attempt> attempt;
    {
        std::lock_guard const lock(mutex);
        auto const found = place.attempts.find(observer);
        if (found != place.attempts.end() && found->second->isUsable()) {
            return found->second;
        }
        if (found != place.attempts.end() &&
            found->second->status.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            attempt = found->second;
            attempt->patience *= 2;
            attempt->nextCall = deadlineAfter(attempt->patience);
        } else {
            attempt = std::make_shared<Place::Attempt>();
        }
    }
    begin(place, attempt);
    std::lock_guard const lock(mutex);
    place.attempts.insert_or_assign(observer, attempt);  // Only now: what was not asked is not answered.
    return attempt;
}

void Model::begin(Place& place, std::shared_ptr<Place::Attempt> const& attempt) {
    auto const reply = [this, &place, attempt](sd_bus_message* message) {
        int type = 0;
        int const result = readVariant(message, "i", type);
        if (result >= 0 && !attempt->isAnswered) {  // Before the next message, which may take the object away.
            attempt->object = &publishedObject(place, static_cast<objbus::ObjectTypeSpec>(type));
        }
        return result;
    };
    auto const complete = [attempt](int status) {
        auto const answer = [attempt](int prepared) {
            if (!std::exchange(attempt->isAnswered, true)) {
                attempt->answer.set_value(prepared);
            }
        };
        if (status != television::STATUS_OK || attempt->isAnswered) {  // Another call was answered first.
            answer(status);
        } else {
            attempt->object->prepare(answer);
        }
    };
    link.callAsync({place.path, PROPERTIES_INTERFACE, "Get"}, Caller::CLIENT, propertyOf(OBJECT_INTERFACE, "Type"),
                   reply, complete);
}

RemoteObject& Model::publishedObject(Place& place, objbus::ObjectTypeSpec type) {
    std::lock_guard const lock(mutex);
    RemoteObject* published = nullptr;
    for (auto const& object : place.objects) {
        if (object->type() != type) {
            object->markWithdrawn();
        } else if (!object->isWithdrawn()) {
            published = object.get();
        }
    }
    if (published == nullptr) {
        place.objects.push_back(makeObject(*this, place, type));
        published = place.objects.back().get();
    }
    published->markPublished();
    return *published;
}

int Model::disconnect(std::string const& key, objbus::Observer* observer, objbus::Object const* object) {
    std::size_t ended = 0;
    Place const* source = nullptr;
    {
        std::lock_guard const lock(mutex);
        if (auto const found = places_.find(key); found != places_.end()) {
            Place& place = *found->second;
            source = &place;
            place.attempts.erase(observer);
            for (auto const& candidate : place.objects) {
                if (object == nullptr || &candidate->object() == object) {
                    ended += candidate->disconnect(observer);
                }
            }
        }
    }
    delivery.waitWhileRunning(observer, source);  // With the mutex released: that notification may want it.
    return ended == 0 && object != nullptr ? television::STATUS_NOT_CONNECTED : television::STATUS_OK;
}

void Model::addIterator(std::string const& path, std::shared_ptr<RemoteIterator> iterator) {
    iterators_.insert_or_assign(path, std::move(iterator));
}

void Model::removeIterator(std::string const& path) { iterators_.erase(path); }

void Model::handleSignal(sd_bus_message* signal) {
    char const* const path = sd_bus_message_get_path(signal);
    if (path == nullptr) {
        return;
    }
    if (std::string_view(path) == MODEL_PATH) {
        handleManagerSignal(signal);
    } else if (std::string_view(path).starts_with(ITERATOR_PATH)) {
        std::shared_ptr<RemoteIterator> iterator;
        {
            std::lock_guard const lock(mutex);
            auto const found = iterators_.find(path);
            iterator = found != iterators_.end() ? found->second : nullptr;
        }
        iterator ? iterator->handleSignal(signal) : void();
    } else if (Place const* const place = findByPath(path)) {
        for (auto const& object : place->objects) {
            if (isObserved(*object)) {
                sd_bus_message_rewind(signal, 1);
                object->handleSignal(signal);
            }
        }
    }
}

void Model::handleManagerSignal(sd_bus_message* signal) {
    char const* path = nullptr;
    bool const isAdded = sd_bus_message_is_signal(signal, MANAGER_INTERFACE, "InterfacesAdded") > 0;
    bool const isRemoved = sd_bus_message_is_signal(signal, MANAGER_INTERFACE, "InterfacesRemoved") > 0;
    if ((!isAdded && !isRemoved) || sd_bus_message_read_basic(signal, SD_BUS_TYPE_OBJECT_PATH, &path) <= 0) {
        return;
    }
    Place const* const place = findByPath(path);
    std::vector<std::string> interfaces;
    if (place == nullptr) {
        return;
    }
    if (isAdded) {
        requestRecoveries(*place);
        startRecoveries();
    } else if (read(signal, interfaces) >= 0 &&
               std::count(interfaces.begin(), interfaces.end(), OBJECT_INTERFACE) != 0) {
        std::lock_guard const lock(mutex);
        for (auto const& object : place->objects) {
            object->markWithdrawn();
        }
    }
}

void Model::handleNameVanished() {
    ++owners_;
    recoveries_.clear();
    runningRecoveries_ = 0;
    std::lock_guard const lock(mutex);
    for (auto const& [key, place] : places_) {
        place->attempts.clear();
        for (auto const& object : place->objects) {
            catchToStatus([&lost = *object] { return lost.failPending(), television::STATUS_OK; });
            object->markUnknown();
        }
    }
}

void Model::handleNameAppeared() {
    {
        std::lock_guard const lock(mutex);
        for (auto const& [key, place] : places_) {
            requestRecoveries(*place);
        }
    }
    startRecoveries();
}

void Model::requestRecoveries(Place const& place) {
    for (auto const& object : place.objects) {
        recoveries_.push_back({object.get(), FIRST_RECOVERY_DELAY});
    }
}

void Model::startRecoveries() {
    while (runningRecoveries_ < MOST_RECOVERIES && !recoveries_.empty()) {
        Recovery const next = recoveries_.front();
        RemoteObject& object = *next.object;
        recoveries_.pop_front();
        {
            std::lock_guard const lock(mutex);
            if (!object.isRecoveryDue()) {
                continue;
            }
        }
        ++runningRecoveries_;
        auto const end = [this, next, owner = owners_](int status) {
            if (owner == owners_) {
                endRecovery(*next.object, next.delay, status);
            }
        };
        if (int const status = catchToStatus([&] { return object.recover(end), television::STATUS_OK; });
            status != television::STATUS_OK) {
            end(status);
            return;
        }
    }
}

void Model::endRecovery(RemoteObject& object, std::chrono::milliseconds delay, int status) {
    --runningRecoveries_;
    bool const isEnded = status == television::STATUS_OK || status == television::STATUS_NOT_PUBLISHED ||
                         status == television::STATUS_NO_TELEVISION || status == television::STATUS_NO_BUS;
    if (!isEnded) {
        delay == FIRST_RECOVERY_DELAY ? object.report("read", status) : void();
        link.runLater(delay, [this, &object, delay, owner = owners_] {
            if (owner == owners_) {
                recoveries_.push_back({&object, std::min(2 * delay, LAST_RECOVERY_DELAY)});
                startRecoveries();
            }
        });
    }
    startRecoveries();
}

}  // namespace bus
