#pragma once

#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "tools/nrx_console/command.h"

namespace nrx_console {

/// A client that prints the lists that it receives.
class PrintingClient final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(std::vector<std::string> const& parameters) override;
    void onNRXEventReceived(std::vector<std::string> const& parameters) override;
};

/// The operations of the facade as commands, which refer to `access`.
Commands facadeCommands(orvane::NRXModelAccess& access);

}  // namespace nrx_console
