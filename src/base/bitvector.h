// A growing array of bits, for marks by id.
#pragma once

#include "base/assertion.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq {

/// Bits numbered from 0; new ones are off.
class BitVector {
public:
    BitVector() = default;
    explicit BitVector(size_t n) { grow(n); }

    size_t size() const { return size_; }

    /// Makes the size at least n; bits that are there keep their values.
    void grow(size_t n)
    {
        if (n > size_) {
            words_.resize((n + 63) / 64, 0); // the vector's own growth is geometric
            size_ = n;
        }
    }

    bool get(size_t i) const
    {
        TARQ_ASSERT(i < size_);
        return ((words_[i / 64] >> (i % 64)) & 1) != 0;
    }
    void set(size_t i)
    {
        TARQ_ASSERT(i < size_);
        words_[i / 64] |= uint64_t{1} << (i % 64);
    }
    void set(size_t i, bool on) { on ? set(i) : unset(i); }
    void unset(size_t i)
    {
        TARQ_ASSERT(i < size_);
        words_[i / 64] &= ~(uint64_t{1} << (i % 64));
    }

    /// Turns all bits off and keeps the size. Linear in size() / 64.
    void clear() { std::fill(words_.begin(), words_.end(), 0); }

    void swap(BitVector& o) noexcept
    {
        words_.swap(o.words_);
        std::swap(size_, o.size_);
    }

private:
    std::vector<uint64_t> words_;
    size_t size_ = 0;
};

} // namespace tarq
