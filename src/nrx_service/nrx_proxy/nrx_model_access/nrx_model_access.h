#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/inrx_model_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access_client.h"
#include "objbus/observer.h"

namespace orvane {

namespace system::support {
class ActionAccess;
}

/// The facade, which the embedding process constructs.
///
/// Construct the facade, call `setClient` if no client was given, then `start()`, then start the listeners. The other
/// operations may be called at any time and connect on demand. Any thread may call `setClient`, the operations that
/// start and stop the listeners, and `requestStartNRXService` at any time. The caller calls the other operations from
/// one thread at a time. The relay, `onNRXCommandValueChanged` and `onNRXEventValueChanged`, runs on the model's
/// delivery thread. If memory runs out, an operation throws `std::bad_alloc`, and the facade stays usable. If memory
/// runs out in the relay, the client does not receive the list.
///
/// The facade owns its access objects, and shares injected objects with the caller. The facade never owns the client.
///
/// A test of the embedding process replaces the access objects by fakes and needs no television:
///
///     auto const command = std::make_shared<FakeList>();  // As in value_access.h.
///     orvane::NRXModelAccess access(&client, command, nullptr, nullptr, nullptr, nullptr);
///     command->setNewValueHandler(make_value_handler(&access, &orvane::NRXModelAccess::onNRXCommandValueChanged));
///     access.startCommandListener();
///     command->notifyStringVector({"play"});  // As the television does; the client receives the list.
///
/// A derived class may override any operation, for example the relay, and use the fields. The members of the derived
/// class are destroyed before the access objects, so destroy an object of the derived class only while no list can
/// arrive.
class NRX_EXPORT NRXModelAccess : public INrxModelAccess {
public:
    /// The type of the access objects of the television's facts.
    using StringAccess = system::support::ValueAccessT<objbus::ObserverString>;
    /// The type of the access objects of the command and the event list.
    using StringListAccess = system::support::ValueAccessT<objbus::ObserverVectorString>;

    /// Creates the access objects, with the relay as the handler of the two lists. Does not connect.
    NRXModelAccess();
    /// Like the default constructor. Also sets the client.
    explicit NRXModelAccess(NRXModelAccessClient* newClient);
    /// Uses the given access objects. Lists reach the relay only through handlers that the caller binds to the relay.
    /// These handlers must not be called after the facade's destruction. For each empty pointer the constructor creates
    /// an access object for the list or fact that the parameter names. This access object has no handler.
    NRXModelAccess(NRXModelAccessClient* newClient, std::shared_ptr<StringListAccess> command,
                   std::shared_ptr<StringListAccess> event, std::shared_ptr<StringAccess> softwareVersion,
                   std::shared_ptr<StringAccess> featureCode, std::shared_ptr<StringAccess> productionType);
    NRXModelAccess(NRXModelAccess const&) = delete;  ///< The lists' handlers hold the facade's address.
    NRXModelAccess& operator=(NRXModelAccess const&) = delete;
    /// After the destructor has returned, the access objects that the facade created pass no list to the client. Only
    /// a function of the client that itself destroyed the facade may still run then.
    /// Catches exceptions of the platform, after which registrations may remain.
    ~NRXModelAccess() override;

    void setClient(NRXModelAccessClient* newClient) override;
    void start() override;
    std::string getSoftwareVersion() override;
    std::string getModelname() override;
    std::string getFeatureCode() override;
    std::string getDeviceID() override;
    void startCommandListener() override;
    void stopCommandListener() override;
    void startEventListener() override;
    void stopEventListener() override;
    void requestStartNRXService() override;
    void onNRXCommandValueChanged(system::support::IValueObject const& value) override;
    void onNRXEventValueChanged(system::support::IValueObject const& value) override;
    void getAccessValue(std::string name, std::vector<std::string>& values) override;
    void setAccessValue(std::string name, std::vector<std::string> values) override;

protected:
    /// @name Switches
    /// @{

    /// The caller's thread writes these fields. The delivery thread reads these fields.
    std::atomic<NRXModelAccessClient*> client = nullptr;
    std::atomic<bool> commandListenerStarted = false;
    std::atomic<bool> eventListenerStarted = false;
    /// @}

    /// @name Access objects
    /// @{

    /// Never null.
    std::shared_ptr<StringListAccess> commandValue;
    std::shared_ptr<StringListAccess> eventValue;
    std::shared_ptr<StringAccess> softwareVersionValue;
    std::shared_ptr<StringAccess> featureCodeValue;
    std::shared_ptr<StringAccess> productionTypeValue;
    /// @}

    system::support::ActionAccess* sourceSwitchAction = nullptr;  ///< Owned. Connected if not null.
};

}  // namespace orvane
