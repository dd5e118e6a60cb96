#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>

#include "bus/client/service_connection.h"
#include "objbus/object.h"
#include "television/delivery.h"
#include "television/mutex.h"
#include "television/observed_object.h"
#include "television/status.h"

namespace bus {

class RemoteIterator;
struct KeyEntry;

/// The timeout of all operations except connect.
constexpr std::chrono::seconds CALL_TIMEOUT{1};
/// The longest time that one call of `connectObject` waits for the television's replies.
constexpr std::chrono::milliseconds CONNECT_ATTEMPT_TIMEOUT{20};

inline Deadline deadlineAfter(std::chrono::milliseconds timeout) { return std::chrono::steady_clock::now() + timeout; }

/// The state that the model and its objects share.
struct SharedModelState {
    explicit SharedModelState(ServiceWatcher& watcher) : connection(watcher) {}

    television::Mutex mutex;  ///< Guards the entries, the objects' observers and the iterators. Locked before the
                              ///< delivery's own mutex.
    television::Delivery delivery;
    ServiceConnection connection;
    /// The iterators that receive the signals of their paths.
    std::map<std::string, std::shared_ptr<RemoteIterator>, std::less<>> iterators NRX_GUARDED_BY(mutex){};
};

/// The client's side of one object of the television. The type never changes, because an object of another type under
/// the same key gets another `RemoteObject`.
class RemoteObject {
public:
    RemoteObject(SharedModelState& modelState, KeyEntry const& entry, objbus::ObjectTypeSpec type)
        : modelState_(modelState), entry_(entry), type_(type) {}
    RemoteObject(RemoteObject const&) = delete;
    RemoteObject& operator=(RemoteObject const&) = delete;
    virtual ~RemoteObject() = default;

    virtual objbus::Object& object() = 0;

    // Called on the connection's thread:
    /// Called before an observer is connected. Reads the object's value if the object must know the value before the
    /// observer is connected.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): passed by value, because an override moves `completion`.
    virtual void requestValueBeforeConnect(Completion completion) { completion(television::STATUS_OK); }
    /// Handles a signal from the object's path.
    virtual void handleSignal(sd_bus_message* signal) = 0;
    /// Reads the object's type or value again, and notifies the observers of a value that they missed.
    virtual void resyncWithTelevision(Completion completion);

    /// Logs that an operation failed. Called with no lock held.
    void logFailure(char const* operation, int status) const noexcept;

    // Called with the model state's mutex held:
    /// Called when the television is gone. Notifies an error for each invocation without a result, closes the
    /// iterators, or drops the value that a resync has read.
    virtual void abandonUnfinishedOperations() {}
    /// Called when an object without observers gets an observer.
    virtual void clearResyncState() { endResync(); }
    virtual void addRegistration(objbus::Observer* observer) = 0;
    /// Cancels the observer's registrations and returns their number.
    virtual std::size_t removeRegistrations(objbus::Observer const* observer) = 0;
    [[nodiscard]] virtual std::size_t observerCount() const = 0;
    /// Called when a message shows that the object is published. A withdrawn object stays withdrawn.
    void markPublished() {
        publicationState_ = isWithdrawn() ? PublicationState::WITHDRAWN : PublicationState::PUBLISHED;
    }
    /// Called when a message shows that the object is withdrawn.
    void markWithdrawn() { publicationState_ = isPublished() ? PublicationState::WITHDRAWN : publicationState_.load(); }
    /// Called when the television is gone. The next television may publish a withdrawn object again.
    void markPublicationUnknown() {
        publicationState_ = PublicationState::UNKNOWN;
        isResyncPending_ = true;
    }
    /// Called when the observers have received the changes that they missed, or when an object without observers gets
    /// an observer.
    void endResync() { isResyncPending_ = false; }
    /// Whether observers have not yet received the changes that they missed.
    [[nodiscard]] bool needsResync() const { return isResyncPending_ && !isWithdrawn() && observerCount() != 0; }

    [[nodiscard]] objbus::ObjectTypeSpec type() const { return type_; }
    [[nodiscard]] bool isPublished() const { return publicationState_ == PublicationState::PUBLISHED; }
    [[nodiscard]] bool isWithdrawn() const { return publicationState_ == PublicationState::WITHDRAWN; }

protected:
    [[nodiscard]] SharedModelState& modelState() const { return modelState_; }
    [[nodiscard]] KeyEntry const& entry() const { return entry_; }
    [[nodiscard]] television::Delivery& delivery() const { return modelState_.delivery; }
    [[nodiscard]] ServiceConnection& connection() const { return modelState_.connection; }
    [[nodiscard]] std::string const& path() const;
    void beforeGetType() {}

    /// Writes a debug line if a client's operation failed. `logFailure` may write another line for the same failure.
    /// Returns the status.
    int logIfFailed(char const* operation, int status) const noexcept;

    /// Calls a method of the object with `CALL_TIMEOUT`, unless the object is withdrawn.
    int call(char const* interface, char const* name, MessageBody arguments, MessageBody reply,
             MessageBody lateReply = {}) const;

private:
    /// The object's state in the current television.
    enum class PublicationState { UNKNOWN, PUBLISHED, WITHDRAWN };

    SharedModelState& modelState_;
    KeyEntry const& entry_;
    objbus::ObjectTypeSpec const type_;
    std::atomic<PublicationState> publicationState_ =
        PublicationState::UNKNOWN;  ///< Changed with the model state's mutex held.
    bool isResyncPending_ = false;  ///< Guarded by the model state's mutex.
};

template <typename Interface, typename Obs>
using ObservedRemoteObject = television::ObservedObject<Interface, Obs, RemoteObject>;

/// Makes an object of the class that implements the platform's interface for the type.
std::unique_ptr<RemoteObject> makeObject(SharedModelState& modelState, KeyEntry const& entry,
                                         objbus::ObjectTypeSpec type);

/// The arguments of `Get`, or the first arguments of `Set`, for a property of an interface.
MessageBody propertyArguments(char const* interface, char const* property);

}  // namespace bus
