// A binary heap of small integers with a changeable order, for variable selection.
#pragma once

#include "base/assertion.h"
#include "base/reallocvector.h"

#include <cstdint>

namespace tarq::dpll {

/// Lt(a, b) says that a comes out before b. The order of elements in the heap may change only as
/// told: towards the front by moved_up(), otherwise by update(), or all at once by build().
template <class Lt>
class Heap {
public:
    static constexpr int NO_IDX = -1;

    explicit Heap(const Lt& lt) : lt_(lt) {}

    int size() const { return static_cast<int>(heap_.size()); }
    bool empty() const { return heap_.empty(); }
    bool contains(int v) const
    {
        return static_cast<uint32_t>(v) < index_.size() &&
               index_[static_cast<uint32_t>(v)] != NO_IDX;
    }
    /// The element at place i, from 0; place 0 is the first to come out.
    int operator[](int i) const { return heap_[static_cast<uint32_t>(i)]; }

    /// Adds v, which must be absent and at least 0.
    void insert(int v)
    {
        TARQ_ASSERT(!contains(v));
        index_.grow_to_geometric(v + 1);
        index_[static_cast<uint32_t>(v)] = size();
        heap_.push(v);
        sift_up(size() - 1);
    }

    /// Removes and returns the first element; the heap must not be empty.
    int pop()
    {
        const int v = heap_[0];
        const int last = heap_.back();
        heap_.pop();
        index_[static_cast<uint32_t>(v)] = NO_IDX;
        if (!heap_.empty()) {
            set(0, last);
            sift_down(0);
        }
        return v;
    }

    /// Removes v if it is there.
    void remove(int v)
    {
        if (!contains(v)) {
            return;
        }
        const int i = index_[static_cast<uint32_t>(v)];
        const int last = heap_.back();
        heap_.pop();
        index_[static_cast<uint32_t>(v)] = NO_IDX;
        if (last != v) {
            set(i, last);
            sift_up(i);
            sift_down(index_[static_cast<uint32_t>(last)]);
        }
    }

    /// Restores the order after v, which must be there, moved towards the front.
    void moved_up(int v) { sift_up(index_[static_cast<uint32_t>(v)]); }

    /// Restores the order after v, which must be there, changed in any way.
    void update(int v)
    {
        sift_up(index_[static_cast<uint32_t>(v)]);
        sift_down(index_[static_cast<uint32_t>(v)]);
    }

    void clear()
    {
        for (int v : heap_) {
            index_[static_cast<uint32_t>(v)] = NO_IDX;
        }
        heap_.clear();
    }

    /// Makes the heap hold exactly the elements of [first, last), which are distinct. Linear.
    template <class It>
    void build(It first, It last)
    {
        clear();
        for (; first != last; ++first) {
            index_.grow_to_geometric(*first + 1);
            index_[static_cast<uint32_t>(*first)] = size();
            heap_.push(*first);
        }
        for (int i = size() / 2 - 1; i >= 0; --i) {
            sift_down(i);
        }
    }

    /// True when every element is in order with its parent and the indices agree.
    bool check_invariants() const
    {
        for (int i = 0; i < size(); ++i) {
            if (index_[static_cast<uint32_t>((*this)[i])] != i ||
                (i > 0 && lt_((*this)[i], (*this)[(i - 1) >> 1]))) {
                return false;
            }
        }
        return true;
    }

private:
    /// Index array that new elements extend; grows by half so that adding variables one by one is
    /// linear in all.
    class Indices : public ReallocVector<int> {
    public:
        void grow_to_geometric(int n)
        {
            while (this->size() < static_cast<uint32_t>(n)) {
                this->push(NO_IDX);
            }
        }
    };

    void set(int i, int v)
    {
        heap_.data()[i] = v;
        index_.data()[v] = i;
    }

    void sift_up(int i)
    {
        const int v = heap_.data()[i];
        while (i > 0) {
            const int parent = (i - 1) >> 1;
            const int p = heap_.data()[parent];
            if (!lt_(v, p)) {
                break;
            }
            set(i, p);
            i = parent;
        }
        set(i, v);
    }

    void sift_down(int i)
    {
        const int n = size();
        const int v = heap_.data()[i];
        for (;;) {
            int child = 2 * i + 1;
            if (child >= n) {
                break;
            }
            if (child + 1 < n && lt_(heap_.data()[child + 1], heap_.data()[child])) {
                ++child;
            }
            const int c = heap_.data()[child];
            if (!lt_(c, v)) {
                break;
            }
            set(i, c);
            i = child;
        }
        set(i, v);
    }

    Lt lt_;
    ReallocVector<int> heap_;
    Indices index_; // per element its place in heap_, or NO_IDX
};

} // namespace tarq::dpll
