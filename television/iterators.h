#pragma once

#include <algorithm>
#include <cstddef>
#include <list>
#include <memory>
#include <utility>

// Private to the televisions.

namespace television {

/// The iterators of one table, of which clients have plain pointers, under the mutex of the model. It keeps those that
/// were destroyed last, so that a pointer that a client hands back again is not the address of a newer one.
template <typename Iterator>
class Iterators {
public:
    static constexpr std::size_t KEPT = 1000;  ///< So many destroyed ones.

    using List = std::list<std::shared_ptr<Iterator>>;

    /// Takes over the only iterator of the list, and returns it. Needs no memory.
    Iterator* add(List made) {
        live_.splice(live_.end(), made);
        return live_.back().get();
    }

    /// Returns the iterator, which is destroyed now; null when no live one has this address. Needs no memory.
    template <typename Pointer>
    std::shared_ptr<Iterator> destroy(Pointer iterator) {
        auto const found = std::find_if(live_.begin(), live_.end(),
                                        [iterator](auto const& candidate) { return candidate.get() == iterator; });
        if (found == live_.end()) {
            return nullptr;
        }
        destroyed_.splice(destroyed_.end(), live_, found);
        if (destroyed_.size() > KEPT) {
            destroyed_.pop_front();
        }
        return destroyed_.back();
    }

    [[nodiscard]] List const& live() const { return live_; }

private:
    List live_;
    List destroyed_;  ///< The oldest one first.
};

}  // namespace television
