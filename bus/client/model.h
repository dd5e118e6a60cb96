#pragma once

#include <cstdint>
#include <deque>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "bus/client/link.h"
#include "objbus/object.h"
#include "television/delivery.h"

// Private to the platform library.

namespace bus {

class Model;
class RemoteIterator;
struct Place;

/// How long an operation other than a connect waits for the television.
constexpr std::chrono::seconds CALL_TIMEOUT{1};
/// How long one attempt to connect waits.
constexpr std::chrono::milliseconds CONNECT_TIMEOUT{20};

inline Deadline deadlineAfter(std::chrono::milliseconds timeout) { return std::chrono::steady_clock::now() + timeout; }

/// The client's side of one object of the television's. Its type never changes: where the television publishes
/// another object under the key, there is another one of these.
class RemoteObject {
public:
    RemoteObject(Model& model, Place& place, objbus::ObjectTypeSpec type) : model_(model), place_(place), type_(type) {}
    RemoteObject(RemoteObject const&) = delete;
    RemoteObject& operator=(RemoteObject const&) = delete;
    virtual ~RemoteObject() = default;

    virtual objbus::Object& object() = 0;

    // On the link's thread:
    /// Learns what is to be known before an observer is connected.
    virtual void prepare(Completion completion) { completion(television::STATUS_OK); }
    /// Takes a signal from the object's path.
    virtual void handleSignal(sd_bus_message* signal) = 0;
    /// Asks another television whether it has published the object, and what the observers missed.
    virtual void recover(Completion completion);

    /// Writes that an operation failed. Not with a lock held.
    void report(char const* operation, int status) const noexcept;

    // With the model's mutex held:
    /// The television is gone: what it owed is answered here.
    virtual void failPending() {}
    virtual void connect(objbus::Observer* observer) = 0;
    /// Cancels the observer's registrations and returns how many it had.
    virtual std::size_t disconnect(objbus::Observer const* observer) = 0;
    [[nodiscard]] virtual bool hasObservers() const = 0;
    /// The television that is there now has the object. One that it took away does not come back while it is there.
    void markPublished() { state_ = isWithdrawn() ? State::WITHDRAWN : State::PUBLISHED; }
    /// The television has taken the object away.
    void markWithdrawn() { state_ = isPublished() ? State::WITHDRAWN : state_.load(); }
    /// The television is gone. The next one may have the object, also one that was taken away.
    void markUnknown() {
        state_ = State::UNKNOWN;
        isRecoveryPending_ = true;
    }
    /// The observers know what they missed, or there is nothing.
    void endRecovery() { isRecoveryPending_ = false; }
    /// Whether observers have still to learn what they missed.
    [[nodiscard]] bool isRecoveryDue() const { return isRecoveryPending_ && !isWithdrawn() && hasObservers(); }

    [[nodiscard]] objbus::ObjectTypeSpec type() const { return type_; }
    [[nodiscard]] bool isPublished() const { return state_ == State::PUBLISHED; }
    [[nodiscard]] bool isWithdrawn() const { return state_ == State::WITHDRAWN; }

protected:
    [[nodiscard]] Model& model() const { return model_; }
    [[nodiscard]] Place& place() const { return place_; }
    [[nodiscard]] Link& link() const;
    [[nodiscard]] std::string const& path() const;

    /// Calls the object in the time that an operation has; one that was withdrawn is not called.
    int call(char const* interface, char const* name, Content arguments, Content reply, Content late = {}) const;

private:
    /// As the television that is there now says.
    enum class State { UNKNOWN, PUBLISHED, WITHDRAWN };

    Model& model_;
    Place& place_;
    objbus::ObjectTypeSpec const type_;
    std::atomic<State> state_ = State::UNKNOWN;  ///< Changed with the model's mutex held.
    bool isRecoveryPending_ = false;             ///< Guarded by the model's mutex.
};

/// The object of the type, as the platform declares it.
std::unique_ptr<RemoteObject> makeObject(Model& model, Place& place, objbus::ObjectTypeSpec type);

/// Asks for a property of an interface.
Content propertyOf(char const* interface, char const* property);

/// What stands, and stood, under one key. Never removed, since clients keep plain pointers to its objects.
struct Place {
    /// What the television answers to an observer's attempts to connect: it may take longer than one attempt waits.
    struct Attempt {
        std::promise<int> answer{};
        std::shared_future<int> status = answer.get_future().share();
        bool isAnswered = false;         ///< The link's thread's.
        RemoteObject* object = nullptr;  ///< Set before the answer, if that is 0.
        // Guarded by the model's mutex: a call that the television has lost is made again.
        std::chrono::seconds patience{1};
        Deadline nextCall = deadlineAfter(patience);

        /// Whether another attempt takes it: a success as long as it holds, and a failure while it is fresh.
        [[nodiscard]] bool isUsable() const {
            if (status.wait_for(std::chrono::seconds(0)) == std::future_status::ready &&
                status.get() == television::STATUS_OK) {
                return object->isPublished();
            }
            return std::chrono::steady_clock::now() < nextCall;
        }
    };

    explicit Place(std::string name);

    std::string const key;
    std::string const path;
    // Guarded by the model's mutex, and changed on the link's thread alone:
    std::vector<std::unique_ptr<RemoteObject>> objects{};
    // Guarded by the model's mutex:
    std::map<objbus::Observer const*, std::shared_ptr<Attempt>> attempts{};  ///< Not taken by their observers yet.
};

/// The television's model, as far as this process knows it. Lives as long as the process.
class Model final : private Watcher {
public:
    /// Connects to the bus when it is called for the first time. Throws if that needs more than the system has.
    static Model& get();

    int connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object);
    int disconnect(std::string const& key, objbus::Observer* observer, objbus::Object const* object);

    // With the mutex held: an iterator receives the signals from its path from now on, or no longer.
    void addIterator(std::string const& path, std::shared_ptr<RemoteIterator> iterator);
    void removeIterator(std::string const& path);

    std::mutex mutex;  ///< Guards the places, the observers and the iterators. Taken before the delivery's own.
    television::Delivery delivery;
    Link link;

private:
    Model();
    void handleNameVanished() override;
    void handleNameAppeared() override;
    void handleSignal(sd_bus_message* signal) override;
    void handleManagerSignal(sd_bus_message* signal);
    Place& findOrCreatePlace(std::string const& key);
    Place* findByPath(std::string_view path);
    bool isObserved(RemoteObject const& object);
    std::shared_ptr<Place::Attempt> attemptOf(Place& place, objbus::Observer const* observer);
    void begin(Place& place, std::shared_ptr<Place::Attempt> const& attempt);
    RemoteObject& publishedObject(Place& place, objbus::ObjectTypeSpec type);
    void requestRecoveries(Place const& place);
    void startRecoveries();
    void endRecovery(RemoteObject& object, std::chrono::milliseconds delay, int status);

    std::map<std::string, std::unique_ptr<Place>> places_;
    std::map<std::string_view, Place*> placesByPath_;
    std::map<std::string, std::shared_ptr<RemoteIterator>, std::less<>> iterators_;  ///< By their paths.

    /// An object that is to be recovered, and how long after a failure that is tried again.
    struct Recovery {
        RemoteObject* object;
        std::chrono::milliseconds delay;
    };
    // Used on the link's thread alone.
    std::deque<Recovery> recoveries_;
    std::size_t runningRecoveries_ = 0;
    std::uint64_t owners_ = 0;  ///< How many televisions have gone. What an earlier one answers has no meaning.
};

}  // namespace bus
