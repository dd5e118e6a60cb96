#pragma once

#include <functional>
#include <string>
#include <vector>

#include "simulator/television.h"
#include "tools/nrx_console/television_view.h"

namespace nrx_console {

/// The commands of a simulated television.
class SimulatedTelevision final : public ObjectListingCommands {
public:
    /// Throws `CommandError` for content that the television does not accept.
    using ContentValidator = std::function<void(Content const& content)>;

    /// `printsInvocations` decides whether invocations of actions are printed. Commands call `check` with each content
    /// before they set the content.
    explicit SimulatedTelevision(
        std::vector<ModelObject> const& model, bool printsInvocations = true,
        ContentValidator check = [](Content const& /*content*/) {});
    ~SimulatedTelevision() override { dropIterators(); }

    Commands commands() override;
    void clearRootLookupFault() override;

    simulator::Television& television() { return television_; }

private:
    [[nodiscard]] Objects objects() const override { return television_.objects(); }
    void waitUntilNotificationsDelivered() override { television_.waitUntilDelivered(); }
    void printValueAndDetails(std::string const& key, objbus::ObjectTypeSpec type) override;

    Commands faultCommands();
    /// Executes `tv on` or `tv off`. If the state changes, prints that the television is back or gone.
    void setReachable(bool isReachable);
    void setValueOrRows(Words const& arguments);
    /// The key that the word stands for. Prints a note if no object is published under the key, which may be mistyped.
    [[nodiscard]] std::string keyNotingUnpublished(std::string const& word) const;
    void failConnects(Words const& arguments);
    void clearFaultsOfKey(Words const& arguments);

    void publishUnvalidated(ModelObject const& object);
    simulator::ActionAnswer answer(std::string const& key, std::vector<objbus::Argument> const& arguments);

    decltype(simulator::ActionAnswer::outcome) configuredInvokeOutcome_;  ///< The outcome of later invocations.
    unsigned int lastInvocationId_ = 0;
    bool isPrintedAsReachable_ = true;  ///< Set by the last `tv on` or `tv off`.
    bool const printsInvocations_;
    ContentValidator const validateCommandContent_;
    simulator::Television television_;
};

}  // namespace nrx_console
