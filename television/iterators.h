#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <utility>

// Private to the televisions.

namespace television {

/// The iterators of one table, of which clients have plain pointers, under the mutex of the model. It keeps those that
/// were destroyed last, so that a pointer that a client hands back again is not the address of a newer one. `Handle` is
/// what clients have pointers to.
template <typename Iterator, typename Handle = Iterator>
class Iterators {
public:
    static constexpr std::size_t KEPT = 1000;  ///< So many destroyed ones.

    using List = std::list<std::shared_ptr<Iterator>>;
    using Index = std::map<Handle const*, typename List::iterator>;  ///< By their addresses.

    /// An iterator with the memory that its table needs for it.
    class Made {
    public:
        explicit Made(std::shared_ptr<Iterator> iterator) : list_{std::move(iterator)} {
            index_.emplace(list_.front().get(), list_.begin());
        }
        Made(Made const&) = delete;
        Made& operator=(Made const&) = delete;
        ~Made() = default;

    private:
        friend class Iterators;

        List list_;
        Index index_;
    };

    /// Takes over the iterator, and returns it. Needs no memory.
    Iterator* add(Made&& made) {
        live_.splice(live_.end(), made.list_);
        index_.merge(made.index_);
        return live_.back().get();
    }

    /// Returns the iterator, which is destroyed now; null when no live one has this address. Needs no memory.
    std::shared_ptr<Iterator> destroy(Handle const* iterator) {
        auto const found = index_.find(iterator);
        if (found == index_.end()) {
            return nullptr;
        }
        destroyed_.splice(destroyed_.end(), live_, found->second);
        index_.erase(found);
        if (destroyed_.size() > KEPT) {
            destroyed_.pop_front();
        }
        return destroyed_.back();
    }

    [[nodiscard]] List const& live() const { return live_; }

private:
    List live_;       ///< In the order of their making.
    Index index_;     ///< Of the live ones.
    List destroyed_;  ///< The oldest one first.
};

}  // namespace television
