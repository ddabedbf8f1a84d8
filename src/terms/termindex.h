// TermIndex: numbers of terms, by term id.
#pragma once

#include "terms/term.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tarq {

/// A map from terms to numbers from 0 on, for what is looked up with each literal: one load where a
/// hash table follows a chain. Costs 4 bytes for each id up to the highest that was entered.
class TermIndex {
public:
    /// The number of `t`, or -1.
    int find(const Term_* t) const
    {
        const size_t id = t->get_id();
        return id < numbers_.size() ? numbers_[id] : -1;
    }
    void set(const Term_* t, int number)
    {
        const size_t id = t->get_id();
        if (id >= numbers_.size()) {
            numbers_.resize(std::max(id + 1, 2 * numbers_.size()), -1);
        }
        numbers_[id] = number;
    }
    /// No effect on a term without number.
    void erase(const Term_* t)
    {
        if (t->get_id() < numbers_.size()) {
            numbers_[t->get_id()] = -1;
        }
    }

private:
    std::vector<int> numbers_;
};

} // namespace tarq
