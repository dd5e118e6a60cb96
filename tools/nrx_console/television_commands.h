#pragma once

#include <string>
#include <vector>

#include "simulator/television.h"
#include "tools/nrx_console/command.h"
#include "tools/nrx_console/model_file.h"

namespace nrx_console {

/// A simulated television, and what can be done with it from inside.
class TelevisionCommands {
public:
    explicit TelevisionCommands(std::vector<ModelObject> const& model);

    /// They refer to this object.
    Commands commands();
    /// Makes the television reachable: a client cannot detach itself from one that it does not find.
    void restore();
    [[nodiscard]] Words keys() const;

private:
    Commands faultCommands();
    void list(Words const& arguments);
    void show(Words const& arguments);
    void table(Words const& arguments);
    void set(Words const& arguments);
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
};

}  // namespace nrx_console
