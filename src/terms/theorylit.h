// TheoryLit: a term or its negation, in one word.
#pragma once

#include "terms/term.h"

#include <cstdint>

namespace tarq {

/// A literal over an atom: the term's address with the negation in bit 0. The null word is
/// `tlit_Undef`.
class TheoryLit {
public:
    constexpr TheoryLit() = default;
    /// t  null only for the undefined literal
    TheoryLit(const Term_* t, bool neg)
        : word_(reinterpret_cast<uintptr_t>(t) | static_cast<uintptr_t>(neg))
    {
    }

    const Term_* get_term() const { return reinterpret_cast<const Term_*>(word_ & ~uintptr_t{1}); }
    bool is_neg() const { return (word_ & 1) != 0; }
    bool is_undef() const { return (word_ & ~uintptr_t{1}) == 0; }
    TheoryLit operator~() const
    {
        TheoryLit l;
        l.word_ = word_ ^ 1;
        return l;
    }
    bool operator==(const TheoryLit&) const = default;
    /// By the term's id, the positive literal first; independent of addresses.
    bool operator<(TheoryLit o) const
    {
        const uint64_t a = sort_id();
        const uint64_t b = o.sort_id();
        return a != b ? a < b : is_neg() < o.is_neg();
    }
    size_t hash() const { return sort_id() * 2 + static_cast<size_t>(is_neg()); }

private:
    uint64_t sort_id() const { return is_undef() ? 0 : get_term()->get_id(); }

    uintptr_t word_ = 0;
};

inline constexpr TheoryLit tlit_Undef{};

static_assert(sizeof(TheoryLit) == sizeof(void*), "one word");

} // namespace tarq
