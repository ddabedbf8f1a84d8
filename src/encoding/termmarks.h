// Sets of terms for one walk over a formula, and per-term counts; both are dense arrays by term id.
#pragma once

#include "terms/term.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq {

/// A set of terms, or of (term, sign) pairs, that serves one walk after the other.
///
/// Ids are dense, so a byte per id costs less than a hash set. Only the touched bytes are cleared,
/// so a walk pays for what it visits, however many terms exist.
class TermMarks {
public:
    /// Puts (t, sign) into the set; false when it was there already. Amortised constant.
    bool insert(const Term_* t, bool sign = false)
    {
        size_t id = t->get_id();
        if (id >= bytes_.size()) {
            bytes_.resize(id + 1 > 2 * bytes_.size() ? id + 1 : 2 * bytes_.size());
        }
        uint8_t bit = sign ? 2 : 1;
        uint8_t old = bytes_[id];
        if (old & bit) {
            return false;
        }
        if (!old) {
            touched_.push_back(id);
        }
        bytes_[id] = static_cast<uint8_t>(old | bit);
        return true;
    }

    bool contains(const Term_* t, bool sign = false) const
    {
        size_t id = t->get_id();
        return id < bytes_.size() && (bytes_[id] & (sign ? 2 : 1));
    }

    /// Takes (t, true) and (t, false) out of the set.
    void erase(const Term_* t)
    {
        if (contains(t) || contains(t, true)) {
            bytes_[t->get_id()] = 0;
        }
    }

    /// Empties the set; linear in the terms that were inserted.
    void clear()
    {
        for (size_t id : touched_) {
            bytes_[id] = 0;
        }
        touched_.clear();
    }

private:
    std::vector<uint8_t> bytes_;
    std::vector<size_t> touched_;
};

/// Empties a set of marks at the end of a scope, also when an exception passes.
class TermMarksCleaner {
public:
    explicit TermMarksCleaner(TermMarks& marks) : marks_(marks) {}
    ~TermMarksCleaner() { marks_.clear(); }
    TermMarksCleaner(const TermMarksCleaner&) = delete;
    TermMarksCleaner& operator=(const TermMarksCleaner&) = delete;

private:
    TermMarks& marks_;
};

} // namespace tarq
