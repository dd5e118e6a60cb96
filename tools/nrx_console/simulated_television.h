#pragma once

#include <functional>
#include <string>
#include <vector>

#include "simulator/television.h"
#include "tools/nrx_console/television_view.h"

namespace nrx_console {

/// What can be done with the simulated television.
class SimulatedTelevision final : public TelevisionView {
public:
    /// Throws `CommandError` for content that the television does not take.
    using ContentCheck = std::function<void(Content const& content)>;

    /// Prints the invocations of actions, or does not. Checks the contents that commands give.
    explicit SimulatedTelevision(
        std::vector<ModelObject> const& model, bool printsInvocations = true,
        ContentCheck check = [](Content const& /*content*/) {});
    SimulatedTelevision(SimulatedTelevision const&) = delete;
    SimulatedTelevision& operator=(SimulatedTelevision const&) = delete;
    ~SimulatedTelevision() override { dropIterators(); }

    Commands commands() override;
    void restore() override;

    simulator::Television& television() { return television_; }

private:
    [[nodiscard]] Objects objects() const override { return television_.objects(); }
    void waitUntilDelivered() override { television_.waitUntilDelivered(); }
    void showMore(std::string const& key, objbus::ObjectTypeSpec type) override;

    Commands faultCommands();
    void set(Words const& arguments);
    /// Says when nothing is published there, which a mistyped key would be.
    [[nodiscard]] std::string faultyKey(std::string const& word) const;
    void failConnects(Words const& arguments);
    void failReads(Words const& arguments);
    void throwFrom(Words const& arguments);
    void setRoot(Words const& arguments);
    void heal(Words const& arguments);

    void publish(ModelObject const& object);
    simulator::ActionAnswer answer(std::string const& key, std::vector<objbus::Argument> const& arguments);

    decltype(simulator::ActionAnswer::outcome) outcome_;  ///< Of the actions invoked from now on.
    unsigned int lastActionId_ = 0;
    bool const printsInvocations_;
    ContentCheck const check_;
    simulator::Television television_;
};

}  // namespace nrx_console
