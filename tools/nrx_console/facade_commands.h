#pragma once

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "tools/nrx_console/command.h"
#include "tools/nrx_console/output.h"

namespace nrx_console {

/// A client that prints the lists that it receives.
class PrintingClient final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(Words const& list) override { printLine("client: command " + typed(list)); }
    void onNRXEventReceived(Words const& list) override { printLine("client: event " + typed(list)); }
};

/// Returns commands for the operations of the facade. The commands refer to `access`.
Commands facadeCommands(orvane::NRXModelAccess& access);

}  // namespace nrx_console
