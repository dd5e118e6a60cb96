#pragma once

#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_export.h"

namespace orvane {

/// Receives the lists of the NRX service. The embedding process implements and owns the client, and keeps it alive
/// until the facade is destroyed, or has another client and no call is running.
///
/// Called on the model's delivery thread, which waits for the return. After `start()` has returned, a client may call
/// and destroy the facade from inside a call, if no other thread does.
class NRX_EXPORT NRXModelAccessClient {
public:
    /// Receives a new command list. The list may be empty: check its size before reading an element. Valid during the
    /// call only. A television that returns sends its current list if it differs from the last one received.
    virtual void onNRXCommandReceived(std::vector<std::string> const& parameters) = 0;
    /// Receives a new event list, with the same rules.
    virtual void onNRXEventReceived(std::vector<std::string> const& parameters) = 0;

protected:
    /// Protected: the facade never deletes a client, and the process deletes it by its own class.
    ~NRXModelAccessClient() = default;
};

}  // namespace orvane
