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

/// The facade, which the embedding process constructs itself.
///
/// Construct it, `setClient` if no client was given, `start()`, then start the listeners. Everything else may be used
/// at any time and connects on demand. The operations are the caller's to call from one thread at a time, except the
/// client and listener switches and `requestStartNRXService`, which any thread may call; the relay runs on the model's
/// delivery thread. Lack of memory passes through as `std::bad_alloc` and breaks nothing; a list that cannot be copied
/// is lost.
///
/// Owns its access objects, shared with whoever injected them, and never the client.
///
/// A test of the embedding process puts fakes into the places of the access objects, so that no television is asked:
///
///     auto const command = std::make_shared<FakeList>();  // As in value_access.h.
///     orvane::NRXModelAccess access(&client, command, nullptr, nullptr, nullptr, nullptr);
///     command->setNewValueHandler(make_value_handler(&access, &orvane::NRXModelAccess::onNRXCommandValueChanged));
///     access.startCommandListener();
///     command->notifyStringVector({"play"});  // As the television does; the client hears it.
///
/// A derived class may override any operation, the relay above all, and use the fields. Its members are gone before the
/// access objects are: destroy it only while no list can arrive.
class NRX_EXPORT NRXModelAccess : public INrxModelAccess {
public:
    /// Of the television's facts.
    using StringAccess = system::support::ValueAccessT<objbus::ObserverString>;
    /// Of the command and the event list.
    using StringListAccess = system::support::ValueAccessT<objbus::ObserverVectorString>;

    /// Makes its access objects, those of the two lists with the relay as their handler. Connects nothing.
    NRXModelAccess();
    /// The same, with a client from the start.
    explicit NRXModelAccess(NRXModelAccessClient* newClient);
    /// Takes the access objects instead of making them. Lists reach the relay only through handlers that the caller
    /// bound to it; they must not be called any more when the facade is destroyed. An empty pointer stands for a fresh
    /// object of that place's key, without a handler.
    NRXModelAccess(NRXModelAccessClient* newClient, std::shared_ptr<StringListAccess> command,
                   std::shared_ptr<StringListAccess> event, std::shared_ptr<StringAccess> softwareVersion,
                   std::shared_ptr<StringAccess> featureCode, std::shared_ptr<StringAccess> productionType);
    NRXModelAccess(NRXModelAccess const&) = delete;  ///< The handlers of its lists know it by its address.
    NRXModelAccess& operator=(NRXModelAccess const&) = delete;
    /// For the access objects made here, no client call runs or starts once it has returned, but for the one that it
    /// may be called from. A failure of the platform's own ends here; registrations may then remain.
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

    /// Written by the caller, read on the delivery thread.
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

    system::support::ActionAccess* sourceSwitchAction = nullptr;  ///< Owned; connected whenever it is there.
};

}  // namespace orvane
