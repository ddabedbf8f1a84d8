// SignatureTable: the congruence table.
#pragma once

#include "base/assertion.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq::euf {

/// Maps signatures, which are pairs of class numbers packed in a word, to nodes. Open addressing
/// with linear probing in one array; an erased entry is closed up at once, so nothing decays. It
/// never shrinks: undoing and redoing merges allocates nothing.
class SignatureTable {
public:
    static constexpr uint32_t NONE = ~uint32_t{0};

    /// The node of that signature, or NONE.
    uint32_t find(uint64_t key) const
    {
        if (slots_.empty()) {
            return NONE;
        }
        for (size_t i = home(key);; i = (i + 1) & mask_) {
            const Slot& s = slots_[i];
            if (s.node == NONE || s.key == key) {
                return s.node;
            }
        }
    }

    /// Enters the node unless the signature is there. Returns the node that stands there before, or
    /// NONE when `node` was entered.
    uint32_t insert(uint64_t key, uint32_t node)
    {
        if (2 * (size_ + 1) > slots_.size()) {
            grow();
        }
        for (size_t i = home(key);; i = (i + 1) & mask_) {
            Slot& s = slots_[i];
            if (s.node == NONE) {
                s = {key, node};
                ++size_;
                return NONE;
            }
            if (s.key == key) {
                return s.node;
            }
        }
    }

    /// The signature must be there.
    void erase(uint64_t key)
    {
        size_t i = home(key);
        while (slots_[i].key != key || slots_[i].node == NONE) {
            TARQ_ASSERT(slots_[i].node != NONE);
            i = (i + 1) & mask_;
        }
        --size_;
        for (size_t j = i;;) {
            j = (j + 1) & mask_;
            if (slots_[j].node == NONE) {
                break;
            }
            // An entry may move to the hole unless its home lies after the hole, cyclically.
            const size_t h = home(slots_[j].key);
            if (((j - h) & mask_) >= ((j - i) & mask_)) {
                slots_[i] = slots_[j];
                i = j;
            }
        }
        slots_[i].node = NONE;
    }

    size_t size() const { return size_; }

private:
    struct Slot {
        uint64_t key = 0;
        uint32_t node = NONE;
    };

    size_t home(uint64_t key) const
    {
        return static_cast<size_t>((key * uint64_t{0x9e3779b97f4a7c15}) >> shift_);
    }

    void grow()
    {
        std::vector<Slot> old(slots_.empty() ? 64 : 2 * slots_.size());
        old.swap(slots_);
        mask_ = slots_.size() - 1;
        shift_ = 64;
        for (size_t n = slots_.size(); n > 1; n /= 2) {
            --shift_;
        }
        size_ = 0;
        for (const Slot& s : old) {
            if (s.node != NONE) {
                insert(s.key, s.node);
            }
        }
    }

    std::vector<Slot> slots_;
    size_t mask_ = 0;
    int shift_ = 64;
    size_t size_ = 0;
};

} // namespace tarq::euf
