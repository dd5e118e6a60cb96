#pragma once

#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_export.h"

namespace orvane {

/// What the embedding process implements to hear from the NRX service. The process owns it and keeps it alive until
/// the facade is destroyed or was given another client and no call is running.
///
/// Called on the model's delivery thread, which waits for the return. Once `start()` has returned, a client may call
/// the facade, and may destroy it, from inside a call, while no other thread does.
class NRX_EXPORT NRXModelAccessClient {
public:
    /// A new command list, which may be empty: check its size before an element is taken. It ends with the call. A
    /// television that comes back with another list than was heard last tells that one, though nobody sent it.
    virtual void onNRXCommandReceived(std::vector<std::string> const& parameters) = 0;
    /// A new event list, likewise.
    virtual void onNRXEventReceived(std::vector<std::string> const& parameters) = 0;

protected:
    /// Not deleted through this interface: who made a client knows its class, and the facade never deletes one.
    ~NRXModelAccessClient() = default;
};

}  // namespace orvane
