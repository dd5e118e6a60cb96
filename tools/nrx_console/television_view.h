#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/iterator_access.h"
#include "objbus/object_type.h"
#include "television/presence.h"
#include "tools/nrx_console/output.h"
#include "tools/nrx_console/television_commands.h"

namespace nrx_console {

/// Prints that the television was found, was lost or is back.
void printTelevisionPresence(television::Presence presence, LineKind kind);

/// The commands for a television whose published objects can be listed.
class ObjectListingCommands : public TelevisionCommands {
public:
    Commands commands() override;
    [[nodiscard]] Words keys() const override;

protected:
    /// The types of the published objects, by key.
    using Objects = std::map<std::string, objbus::ObjectTypeSpec>;

    // Each of the next three functions throws `CommandError` if the television does not answer.
    [[nodiscard]] virtual Objects objects() const = 0;
    /// Returns when all earlier notifications have been delivered.
    virtual void waitUntilNotificationsDelivered() = 0;
    /// Prints more about an object than its key and type.
    virtual void printValueAndDetails(std::string const& key, objbus::ObjectTypeSpec type) = 0;

    /// Must be called before the destruction of the television, because iterators are clients of the television.
    void dropIterators() { openIterators_.clear(); }

private:
    void list(Words const& arguments);
    void show(Words const& arguments);
    void showTableRows(Words const& arguments);

    /// The access objects of the iterators. If an exception ends a command before the iterator is destroyed, the access
    /// object stays here, because the television may still notify the access object.
    std::vector<std::unique_ptr<orvane::system::support::IteratorAccess>> openIterators_;
};

}  // namespace nrx_console
