#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bus/link.h"
#include "frame/process.h"
#include "objbus/object.h"
#include "television/delivery.h"
#include "television/status.h"

// Private to the platform library.

namespace bus {

class Model;
struct Place;

/// How long an operation other than a connect waits for the television.
constexpr std::chrono::seconds PATIENCE{1};
/// How long one attempt to connect waits.
constexpr std::chrono::milliseconds CONNECT_PATIENCE{100};

inline Deadline in(std::chrono::milliseconds patience) { return std::chrono::steady_clock::now() + patience; }

/// Runs an operation of the platform's, out of which nothing is thrown, and returns its status.
template <typename Operation>
int safely(Operation const& operation) noexcept {
    try {
        return operation();
    } catch (...) {
        return television::STATUS_NO_MEMORY;
    }
}

/// The client's side of one object of the television's. Its type never changes: where the television publishes
/// another object under the key, there is another one of these.
class RemoteObject {
public:
    RemoteObject(Model& model, Place& place, objbus::ObjectTypeSpec type) : model_(model), place_(place), type_(type) {}
    RemoteObject(RemoteObject const&) = delete;
    RemoteObject& operator=(RemoteObject const&) = delete;
    virtual ~RemoteObject() = default;

    virtual objbus::Object& object() = 0;
    /// Learns what is to be known before an observer is connected. Returns a status.
    virtual int prepare(Deadline /*deadline*/) { return television::STATUS_OK; }
    /// Takes a signal of the object's, on the link's thread.
    virtual void hear(sd_bus_message* signal) = 0;

    // With the model's mutex held:
    /// The television is gone: what it owed is answered here.
    virtual void lose() {}
    /// It is there again: the observers are told what they missed.
    virtual void recover() {}
    virtual void connect(objbus::Observer* observer) = 0;
    /// Ends the observer's registrations and returns how many it had.
    virtual std::size_t disconnect(objbus::Observer const* observer) = 0;
    void withdraw() { withdrawn_ = true; }

    [[nodiscard]] objbus::ObjectTypeSpec type() const { return type_; }
    [[nodiscard]] bool withdrawn() const { return withdrawn_; }

protected:
    [[nodiscard]] Model& model() const { return model_; }
    [[nodiscard]] Place& place() const { return place_; }
    [[nodiscard]] Link& link() const;
    [[nodiscard]] std::string const& path() const;

    /// Says that an operation of the client's failed.
    void report(char const* operation, int status) const noexcept;

    /// Asks the object in the time that an operation has; the answer is not asked for when it was withdrawn.
    int ask(char const* interface, char const* name, Content arguments, Content answer, Content late = {}) const;

private:
    Model& model_;
    Place& place_;
    objbus::ObjectTypeSpec const type_;
    std::atomic<bool> withdrawn_ = false;
};

/// The object of the type, as the platform declares it.
std::unique_ptr<RemoteObject> makeObject(Model& model, Place& place, objbus::ObjectTypeSpec type);

/// What stands, and stood, under one key. Never removed, since clients keep plain pointers to its objects.
struct Place final : Listener {
    Place(Model& owner, std::string name);
    /// Passes the signal to the object that stands here.
    void hear(sd_bus_message* signal) override;

    Model& model;
    std::string const key;
    std::string const path;
    // Guarded by the model's mutex:
    std::vector<std::unique_ptr<RemoteObject>> objects{};
    RemoteObject* current = nullptr;  ///< The newest one, unless it was withdrawn.
    std::size_t users = 0;            ///< The registrations, and the connects on their way: the path is heard for them.
    bool isMissed = false;            ///< The television that came back has no such object yet.
};

/// The television's model, as far as this process knows it. Lives as long as the process.
class Model final : private Watcher {
public:
    /// Reaches for the bus when it is called for the first time.
    static Model& get();

    int connect(std::string const& key, objbus::Observer* observer, objbus::Object*& object);
    int disconnect(std::string const& key, objbus::Observer* observer, objbus::Object const* object);
    /// Something stands under the path, or nothing any more.
    void arrive(std::string_view path);
    void withdraw(std::string_view path);

    std::mutex mutex;  ///< Guards the places and the observers. Taken before the delivery's own.
    television::Delivery delivery;
    /// What a lookup of the root interface gives.
    boost::shared_ptr<frame::Interface> const root;
    Link link;

private:
    Model();
    void handleGone() override;
    void handleBack() override;
    bool hasNews() override { return delivery.isDue(); }
    void tellNews() override { delivery.deliver(); }
    static void recover(Place& place);
    std::shared_ptr<Place> placeAt(std::string_view path);
    std::shared_ptr<Place> placeOf(std::string const& key);
    int connectAt(Place& place, objbus::Observer* observer, objbus::Object*& object);
    int askForType(Place const& place, Deadline deadline, objbus::ObjectTypeSpec& type);
    RemoteObject& objectAt(Place& place, objbus::ObjectTypeSpec type);
    void use(std::shared_ptr<Place> const& place);
    void leave(Place& place, std::size_t users);  ///< With the mutex held.

    std::map<std::string, std::shared_ptr<Place>> places_;
};

}  // namespace bus
