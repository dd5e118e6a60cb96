#pragma once

#include <string>

#include "bus/server/server.h"
#include "tools/nrx_console/simulated_television.h"
#include "tools/nrx_console/television_commands.h"

namespace nrx_television {

/// The console commands of a simulated television that a server serves. The television and the server must outlive this
/// object.
class ServedTelevisionCommands final : public nrx_console::TelevisionCommands {
public:
    ServedTelevisionCommands(nrx_console::SimulatedTelevision& television, bus::server::Server& server)
        : television_(television), server_(server) {}

    /// The television's commands. The command "wait" also waits until the server has sent the D-Bus signals of all
    /// earlier changes.
    nrx_console::Commands commands() override;
    void clearRootLookupFault() override { television_.clearRootLookupFault(); }
    [[nodiscard]] nrx_console::Words keys() const override { return television_.keys(); }

private:
    nrx_console::SimulatedTelevision& television_;
    bus::server::Server& server_;
};

/// Throws `CommandError` for content with a text that cannot be sent over the bus.
void requireValidText(nrx_console::Content const& content);

}  // namespace nrx_television
