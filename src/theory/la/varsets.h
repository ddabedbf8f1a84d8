// VarSparseSet: a set of variables or rows with constant-time changes, for work lists.
#pragma once

#include "base/assertion.h"
#include "base/reallocvector.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace tarq::la {

/// A set with constant-time insert, erase and test. The order of iteration depends on the history
/// of the set, so whoever chooses from it breaks ties by the elements themselves.
class VarSparseSet {
public:
    size_t size() const { return elements_.size(); }
    bool empty() const { return elements_.empty(); }
    const int* begin() const { return elements_.begin(); }
    const int* end() const { return elements_.end(); }
    int operator[](size_t i) const { return elements_[i]; }

    bool contains(int v) const
    {
        const size_t i = static_cast<size_t>(v);
        return i < position_.size() && position_[i] != 0;
    }
    void insert(int v)
    {
        const size_t i = static_cast<size_t>(v);
        if (i >= position_.size()) {
            position_.grow_to(std::max(i + 1, 2 * size_t{position_.size()}), 0);
        }
        if (position_[i] == 0) {
            elements_.push(v);
            position_[i] = elements_.size();
        }
    }
    void erase(int v)
    {
        const size_t i = static_cast<size_t>(v);
        if (i >= position_.size() || position_[i] == 0) {
            return;
        }
        const uint32_t hole = position_[i] - 1;
        const int last = elements_.back();
        elements_[hole] = last;
        position_[static_cast<size_t>(last)] = hole + 1;
        elements_.pop();
        position_[i] = 0;
    }
    void clear()
    {
        for (int v : elements_) {
            position_[static_cast<size_t>(v)] = 0;
        }
        elements_.clear();
    }

private:
    ReallocVector<int> elements_;
    ReallocVector<uint32_t> position_; // by element: its place + 1, or 0
};

} // namespace tarq::la
