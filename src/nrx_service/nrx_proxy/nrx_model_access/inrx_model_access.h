#pragma once

#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_object.h"
#include "nrx_service/nrx_proxy/nrx_model_access/nrx_export.h"

namespace orvane {

class NRXModelAccessClient;

/// The television's NRX service and device facts, as the embedding process sees them.
///
/// Operations return no status. Each failure that the library itself detects is logged. If the model refuses to read a
/// fact or to write a list, no log line reports the refusal. The order of the virtual operations is a binary contract.
class NRX_EXPORT INrxModelAccess {
public:
    INrxModelAccess() = default;
    INrxModelAccess(INrxModelAccess const&) = delete;
    INrxModelAccess& operator=(INrxModelAccess const&) = delete;
    virtual ~INrxModelAccess();

    /// Replaces the client, which receives the lists. A null `newClient` removes the client. Does not own the client.
    virtual void setClient(NRXModelAccessClient* newClient) = 0;

    /// Connects to the command and the event list, and waits up to 1000 milliseconds for each list. If a list cannot
    /// be connected, only `getAccessValue` and `setAccessValue` for this list and another `start()` try again.
    virtual void start() = 0;

    /// @name Facts about the television
    /// Each call reads the fact. If the read fails, the result is empty, or the part of the text that was read.
    /// @{

    /// The version of the television's software, from the data model's factory data. This operation and the next two
    /// operations wait for the fact's object for up to 1000 milliseconds, the connect budget.
    virtual std::string getSoftwareVersion() = 0;
    /// The production type, from the factory data.
    virtual std::string getModelname() = 0;
    /// The television's feature code, from the data model's basic settings.
    virtual std::string getFeatureCode() = 0;
    /// The first 1023 bytes of the device identifier's file, including line ends. A zero byte ends the text earlier. A
    /// television keeps the file at one of two paths. The operation reads the first file that can be opened. A file
    /// that blocks, such as a FIFO without a writer, blocks the caller.
    virtual std::string getDeviceID() = 0;
    /// @}

    /// Starts passing command lists to the client. Lists that arrived before the start are lost. A list may be empty.
    /// When the television is reached again after the connection was lost, the television may send its current list
    /// (see `NRXModelAccessClient`).
    virtual void startCommandListener() = 0;
    /// Stops passing command lists to the client. Lists are dropped until the next start.
    virtual void stopCommandListener() = 0;

    /// @name The event listener
    /// @{

    /// Like the operations for command lists.
    virtual void startEventListener() = 0;
    virtual void stopEventListener() = 0;
    /// @}

    /// Asks the television to start the NRX service as a background application. Waits up to 100 milliseconds for the
    /// action's connect, but not for the action's answer, which is only logged. Several threads may call at once.
    /// While one call connects the action, other calls of this operation wait, also on other facades.
    virtual void requestStartNRXService() = 0;

    /// @name The relay
    /// @{

    /// Called on the model's delivery thread with a new command or event value. Passes the texts of the list's elements
    /// to the client, which may use the texts during its call only. Drops a value that is no list. While the listener
    /// is off, drops every value.
    virtual void onNRXCommandValueChanged(system::support::IValueObject const& value) = 0;
    virtual void onNRXEventValueChanged(system::support::IValueObject const& value) = 0;
    /// @}

    /// @name The lists by their keys
    /// @{

    /// Reads or writes the list with the key `name`: the command or the event list. A failed read leaves `values`
    /// unchanged, unless the model's read has written a part. Waits for an unconnected list for up to 1000
    /// milliseconds, the connect budget.
    virtual void getAccessValue(std::string name, std::vector<std::string>& values) = 0;
    virtual void setAccessValue(std::string name, std::vector<std::string> values) = 0;
    /// @}
};

}  // namespace orvane
