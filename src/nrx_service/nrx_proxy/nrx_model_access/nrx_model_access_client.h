#pragma once

#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_export.h"

namespace orvane {

/// Receives the lists of the NRX service. The embedding process implements and owns the client. The client must stay
/// alive until the facade is destroyed, or until the facade has another client and no notification that began before
/// the change is running.
///
/// Called on the model's delivery thread, which waits for the return. After `start()` has returned, a function of the
/// client may call and destroy the facade, if no other thread uses the facade.
class NRX_EXPORT NRXModelAccessClient {
public:
    /// Receives a new command list, valid during the call only. The list may be empty: check its size before reading an
    /// element. When the television is reached again after the connection was lost, the television may send its current
    /// list if this list differs from the last received list.
    virtual void onNRXCommandReceived(std::vector<std::string> const& parameters) = 0;
    /// Receives a new event list, with the same rules.
    virtual void onNRXEventReceived(std::vector<std::string> const& parameters) = 0;

protected:
    /// Protected, because the facade never deletes a client. The process deletes the client through the derived class.
    ~NRXModelAccessClient() = default;
};

}  // namespace orvane
