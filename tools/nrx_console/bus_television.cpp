#include <utility>

#include "bus/bus_platform.h"
#include "tools/nrx_console/model_commands.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/television_view.h"

// Defines the functions of television_commands.h, except `setLogRedirectedToConsole`, for a program that is linked with
// the platform library for a message bus.

namespace nrx_console {

namespace {

class BusTelevision final : public ObjectListingCommands {
public:
    BusTelevision() {
        bus::setPresenceListener([isFirst = true](television::Presence presence) mutable {
            if (!std::exchange(isFirst, false) || presence != television::Presence::gone) {  // Drops a first "gone".
                printTelevisionPresence(presence, LineKind::info);
            }
        });
    }
    BusTelevision(BusTelevision const&) = delete;
    BusTelevision& operator=(BusTelevision const&) = delete;
    ~BusTelevision() override { bus::setPresenceListener({}); }

    /// Does nothing: only the television's process can end the fault.
    void clearRootLookupFault() override {}

    /// Returns no keys instead of an error while the television does not answer. The keys are only suggestions for
    /// completion.
    [[nodiscard]] Words keys() const override {
        try {
            return ObjectListingCommands::keys();
        } catch (CommandError const&) {
            return {};
        }
    }

private:
    [[nodiscard]] Objects objects() const override {
        Objects published;
        throwIfTelevisionFailed(bus::listObjects(published));
        return published;
    }

    void waitUntilNotificationsDelivered() override { throwIfTelevisionFailed(bus::waitUntilDelivered()); }

    void printValueAndDetails(std::string const& key, objbus::ObjectTypeSpec type) override {
        if (hasValue(type)) {
            printLine("value: " + readValueAsText(key));
        }
    }
};

}  // namespace

std::unique_ptr<TelevisionCommands> makeTelevisionCommands(std::vector<ModelObject> const& /*model*/) {
    return std::make_unique<BusTelevision>();
}

int pingBusTelevision() { return bus::waitUntilDelivered(); }

bool televisionIsSimulated() { return false; }

std::string televisionDescription() { return "a television on a message bus"; }

}  // namespace nrx_console
