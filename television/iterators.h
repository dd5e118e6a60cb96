#pragma once

#include <cassert>
#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <utility>

// Private to the televisions.

namespace television {

/// The iterators of one table, to which clients have plain pointers. Guarded by the model's mutex. Keeps the iterators
/// that were destroyed last, so that no newer iterator has the address of a pointer that a client destroys again.
/// `Handle` is the class that the clients' pointers point to.
template <typename Iterator, typename Handle = Iterator>
class Iterators {
public:
    static constexpr std::size_t MAX_DESTROYED = 1000;  ///< How many destroyed iterators are kept.

    using List = std::list<std::shared_ptr<Iterator>>;
    using Index = std::map<Handle const*, typename List::iterator>;  ///< By their addresses.

    /// An iterator with the memory that its table needs for it.
    class Prepared {
    public:
        explicit Prepared(std::shared_ptr<Iterator> iterator) : list_{std::move(iterator)} {
            index_.emplace(list_.front().get(), list_.begin());
        }
        Prepared(Prepared const&) = delete;
        Prepared& operator=(Prepared const&) = delete;
        ~Prepared() = default;

    private:
        friend class Iterators;

        List list_;
        Index index_;
    };

    /// Takes over the iterator, and returns it. Needs no memory.
    Iterator* add(Prepared&& prepared) {
        live_.splice(live_.end(), prepared.list_);
        index_.merge(prepared.index_);
        assert(prepared.index_.empty() && index_.size() == live_.size());
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
        if (destroyed_.size() > MAX_DESTROYED) {
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
