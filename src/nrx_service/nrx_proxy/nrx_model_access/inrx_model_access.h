#pragma once

#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_export.h"

namespace orvane {

class NRXModelAccessClient;

/// The television's NRX service and device facts, as the embedding process sees them.
///
/// No operation reports a failure but by an empty result; each failure is logged. The order of the virtual operations
/// is a binary contract.
class NRX_EXPORT INrxModelAccess {
public:
    INrxModelAccess() = default;
    INrxModelAccess(INrxModelAccess const&) = delete;
    INrxModelAccess& operator=(INrxModelAccess const&) = delete;
    virtual ~INrxModelAccess();

    /// Replaces the receiver of command and event lists, which is not owned; null: nothing is passed on.
    virtual void setClient(NRXModelAccessClient* newClient) = 0;

    /// Connects to the command and the event list, waiting up to 1000 milliseconds for each. What fails here is tried
    /// again by reads, writes and another `start()` only.
    virtual void start() = 0;

    /// @name Facts about the television
    /// Read anew at each call; empty when they cannot be had (or what a read of the model's that failed half way left).
    /// @{

    /// The version of the television's software, from the data model's factory data. While its object is not there, a
    /// call waits for it within the connect budget of 1000 milliseconds, as do the next two.
    virtual std::string getSoftwareVersion() = 0;
    /// The production type, from the factory data too.
    virtual std::string getModelname() = 0;
    /// The television's feature code, from the data model's basic settings.
    virtual std::string getFeatureCode() = 0;
    /// The first 1023 bytes of the device identifier's file, up to a zero byte and otherwise as they stand: a line end
    /// belongs to them. The first of the two places where a television keeps the file decides once it can be opened;
    /// a file that blocks, such as a FIFO without a writer, blocks the caller.
    virtual std::string getDeviceID() = 0;
    /// @}

    /// Lets command lists through to the client from now on; at first they are held back. They may be empty, and one
    /// may come that nobody sent (see `NRXModelAccessClient`).
    virtual void startCommandListener() = 0;
    /// Holds them back again. What arrives meanwhile is dropped, not kept for later.
    virtual void stopCommandListener() = 0;

    /// @name The same for event lists
    /// @{

    /// As for command lists.
    virtual void startEventListener() = 0;
    virtual void stopEventListener() = 0;
    /// @}

    /// Asks the television to start the NRX service as a background application; waits up to 100 milliseconds for the
    /// action to be there, and not for the answer, which is only logged. May be called from several threads at once;
    /// those whose action is not there yet wait one after the other, whichever facade they ask.
    virtual void requestStartNRXService() = 0;

    /// @name The relay
    /// @{

    /// Passes new command or event values on to the client, on the model's delivery thread: a list as its elements'
    /// texts, which end with the call; anything else is dropped, and so is what comes while the listener is off.
    virtual void onNRXCommandValueChanged(system::support::IValueObject const& value) = 0;
    virtual void onNRXEventValueChanged(system::support::IValueObject const& value) = 0;
    /// @}

    /// @name The lists by their keys
    /// @{

    /// Reads or writes the command or the event list, whichever `name` is the key of. Reading leaves `values` as it was
    /// when it fails, unless the model's own read put something there. Waits up to the list's connect budget (1000
    /// milliseconds) while it is not connected.
    virtual void getAccessValue(std::string name, std::vector<std::string>& values) = 0;
    virtual void setAccessValue(std::string name, std::vector<std::string> values) = 0;
    /// @}
};

}  // namespace orvane
