#pragma once

#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/nrx_model_access.h"
#include "tools/nrx_console/command.h"

namespace nrx_console {

/// Prints the lists that it receives.
class PrintingClient final : public orvane::NRXModelAccessClient {
public:
    void onNRXCommandReceived(std::vector<std::string> const& parameters) override;
    void onNRXEventReceived(std::vector<std::string> const& parameters) override;
};

/// What an embedding process does with the facade.
class FacadeCommands {
public:
    /// They refer to this object.
    Commands commands();

private:
    void info(Words const& arguments);
    void listen(Words const& arguments);
    void get(Words const& arguments);
    void set(Words const& arguments);

    PrintingClient client_;
    orvane::NRXModelAccess access_{&client_};
};

}  // namespace nrx_console
