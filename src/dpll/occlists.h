// Occurrence lists with lazy removal.
#pragma once

#include "base/assertion.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq::dpll {

/// For each index the items that occur there. An item that goes away is not searched for: its lists
/// are marked as dirty, and cleaned when someone needs them clean or before the item is freed.
///
/// Index    an integer type
/// List     a ReallocVector of items
/// Deleted  tells of an item whether it is gone
template <class Index, class List, class Deleted>
class OccLists {
public:
    using Item = typename List::value_type;

    explicit OccLists(const Deleted& deleted) : deleted_(deleted) {}

    /// Makes n lists, the new ones empty; lists that go away must be empty.
    void resize(size_t n)
    {
        TARQ_ASSERT(n >= lists_.size() || lists_[n].empty());
        lists_.resize(n);
        is_dirty_.resize(n, 0);
    }

    void push(Index i, const Item& item) { lists_[static_cast<size_t>(i)].push(item); }
    /// The list as it is, with items that are gone.
    List& operator[](Index i) { return lists_[static_cast<size_t>(i)]; }
    /// The list without items that are gone.
    List& lookup(Index i)
    {
        clean(i);
        return lists_[static_cast<size_t>(i)];
    }
    /// An item of that list is gone.
    void smudge(Index i)
    {
        if (!is_dirty_[static_cast<size_t>(i)]) {
            is_dirty_[static_cast<size_t>(i)] = 1;
            dirty_.push_back(i);
        }
    }
    void clean(Index i)
    {
        const auto at = static_cast<size_t>(i);
        if (at >= lists_.size() || !is_dirty_[at]) {
            return; // the list went away since
        }
        is_dirty_[at] = 0;
        List& list = lists_[at];
        size_t kept = 0;
        for (const Item& item : list) {
            if (!deleted_(item)) {
                list[kept++] = item;
            }
        }
        list.shrink_to(kept);
        if (kept == 0) {
            list.free_memory();
        }
    }
    void clean_all()
    {
        for (Index i : dirty_) {
            clean(i);
        }
        dirty_.clear();
    }

private:
    Deleted deleted_;
    std::vector<List> lists_;
    std::vector<uint8_t> is_dirty_;
    std::vector<Index> dirty_; // may name lists that were cleaned since
};

} // namespace tarq::dpll
