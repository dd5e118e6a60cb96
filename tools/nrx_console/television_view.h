#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "objbus/object_type.h"
#include "tools/nrx_console/television_commands.h"

namespace nrx_console {

/// What is seen of every television that tells what it publishes.
class TelevisionView : public TelevisionCommands {
public:
    Commands commands() override;
    [[nodiscard]] Words keys() const override;

protected:
    /// The keys that are published, and the types of their objects.
    using Objects = std::map<std::string, objbus::ObjectTypeSpec>;

    // Each throws `CommandError` when the television does not answer.
    [[nodiscard]] virtual Objects objects() const = 0;
    /// Returns when every notification has returned that was sent before.
    virtual void waitUntilDelivered() = 0;
    /// Prints what is known of an object besides its key and type.
    virtual void showMore(std::string const& key, objbus::ObjectTypeSpec type) = 0;

    /// To be called before the television ends: iterators are its clients.
    void dropIterators() { iterators_.clear(); }

private:
    void list(Words const& arguments);
    void show(Words const& arguments);
    void table(Words const& arguments);

    /// Those that the television would not destroy, or did not answer: they may be reported to until it ends.
    std::vector<std::unique_ptr<orvane::system::support::IteratorAccess>> iterators_;
};

}  // namespace nrx_console
