#pragma once

#include <memory>
#include <vector>

#include "objbus/observer.h"
#include "television/delivery.h"
#include "television/value.h"

// Private to the televisions.

namespace television {

/// The observers of one object, which hear through the interface `Obs`. One that has another does not hear.
template <typename Obs>
class Observers {
public:
    /// The source is what a disconnect names besides the observer.
    void add(objbus::Observer* observer, void const* source) {
        connections_.push_back(
            {dynamic_cast<Obs*>(observer), std::make_shared<Registration>(Registration{observer, source})});
    }

    /// Ends the observer's registrations and returns how many it had.
    std::size_t remove(objbus::Observer const* observer, Delivery& delivery) {
        auto const ended = [observer, &delivery](auto const& connection) {
            if (connection.registration->observer != observer) {
                return false;
            }
            delivery.end(*connection.registration);
            return true;
        };
        return std::erase_if(connections_, ended);  // Without an allocation: memory may have run out.
    }

    [[nodiscard]] std::size_t size() const { return connections_.size(); }

    template <typename Notify>
    void post(Delivery& delivery, Notify const& notify) const {
        for (Connection<Obs> const& connection : connections_) {
            connection.post(delivery, notify);
        }
    }

private:
    std::vector<Connection<Obs>> connections_;
};

/// Tells the rows to an iterator's observer.
inline void notifyChunk(objbus::ObserverTableIterator& observer, Rows const& rows) {
    std::vector<std::vector<std::string> const*> pointers;
    for (auto const& row : rows) {
        pointers.push_back(&row);
    }
    observer.notifyReadRowChunk(pointers);
}

}  // namespace television
