#pragma once

#include <cassert>
#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <utility>

namespace television {

/// The iterators of one table. Guarded by the model's mutex. Clients hold plain pointers of the type `Handle*` to the
/// iterators. The last destroyed iterators stay in memory, so that a client that destroys the same iterator twice does
/// not destroy a newer iterator at the same address.
template <typename Iterator, typename Handle = Iterator>
class Iterators {
public:
    static constexpr std::size_t MAX_RETAINED_DESTROYED = 1000;  ///< The number of destroyed iterators kept.

    using List = std::list<std::shared_ptr<Iterator>>;
    using Index = std::map<Handle const*, typename List::iterator>;  ///< By address.

    /// An iterator with the memory for its entries in the table's list and index.
    class PreparedInsertion {
    public:
        explicit PreparedInsertion(std::shared_ptr<Iterator> iterator) : iteratorNode_{std::move(iterator)} {
            indexNode_.emplace(iteratorNode_.front().get(), iteratorNode_.begin());
        }
        PreparedInsertion(PreparedInsertion const&) = delete;
        PreparedInsertion& operator=(PreparedInsertion const&) = delete;
        ~PreparedInsertion() = default;

    private:
        friend class Iterators;

        List iteratorNode_;
        Index indexNode_;
    };

    /// Adds the iterator and returns it. Allocates no memory.
    Iterator* add(PreparedInsertion&& prepared) {
        live_.splice(live_.end(), prepared.iteratorNode_);
        indexByAddress_.merge(prepared.indexNode_);
        assert(prepared.indexNode_.empty() && indexByAddress_.size() == live_.size());
        return live_.back().get();
    }

    /// Marks the live iterator with this address as destroyed and returns the iterator. Returns null if no live
    /// iterator has the address. Allocates no memory.
    std::shared_ptr<Iterator> destroy(Handle const* iterator) {
        auto const found = indexByAddress_.find(iterator);
        if (found == indexByAddress_.end()) {
            return nullptr;
        }
        destroyed_.splice(destroyed_.end(), live_, found->second);
        indexByAddress_.erase(found);
        if (destroyed_.size() > MAX_RETAINED_DESTROYED) {
            destroyed_.pop_front();
        }
        return destroyed_.back();
    }

    [[nodiscard]] List const& live() const { return live_; }

private:
    List live_;             ///< In the order of creation.
    Index indexByAddress_;  ///< Of the live iterators.
    List destroyed_;        ///< Oldest first.
};

}  // namespace television
