#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "simulator/television.h"
#include "tools/nrx_console/television_commands.h"

namespace nrx_console {

/// What can be done with the simulated television.
class SimulatedTelevision final : public TelevisionCommands {
public:
    explicit SimulatedTelevision(std::vector<ModelObject> const& model);

    Commands commands() override;
    void restore() override;
    [[nodiscard]] Words keys() const override;

    simulator::Television& television() { return television_; }

private:
    Commands faultCommands();
    void list(Words const& arguments);
    void show(Words const& arguments);
    void table(Words const& arguments);
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
    simulator::Television television_;
    /// Those that the television would not destroy: they report here until it ends.
    std::vector<std::unique_ptr<orvane::system::support::IteratorAccess>> iterators_;
};

}  // namespace nrx_console
