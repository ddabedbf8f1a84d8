// Literals of the SAT engine. Values of literals are lbool.h's; nothing here knows a clause.
#pragma once

#include "base/lbool.h"

#include <cstdint>
#include <type_traits>

namespace tarq::dpll {

/// A propositional variable (numbered from 0) with a sign, as one 32-bit value `var * 2 + sign`.
/// The value indexes arrays, so a literal and a variable do not mix by accident.
class Lit {
public:
    /// lit_Undef.
    constexpr Lit() : x_(-2) {}
    /// var     variable, from 0
    /// negated true for the negative literal
    constexpr explicit Lit(int var, bool negated = false) : x_(var * 2 + static_cast<int>(negated))
    {
    }
    /// The literal whose index() is `index`.
    static constexpr Lit from_index(int index)
    {
        Lit l;
        l.x_ = index;
        return l;
    }

    constexpr int var() const { return x_ >> 1; }
    /// 1 for the negative literal, else 0.
    constexpr int sign() const { return x_ & 1; }
    /// Position in arrays with two entries per variable.
    constexpr int index() const { return x_; }

    constexpr Lit operator~() const { return from_index(x_ ^ 1); }
    /// The literal itself, or its negation when `flip` is 1.
    constexpr Lit operator^(int flip) const { return from_index(x_ ^ flip); }

    constexpr bool operator==(const Lit&) const = default;
    constexpr bool operator<(const Lit& o) const { return x_ < o.x_; }

private:
    int32_t x_;
};

/// No literal: var() is -1, sign() is 0.
inline constexpr Lit lit_Undef = Lit::from_index(-2);
/// The negation of lit_Undef, for results that are neither a literal nor absent.
inline constexpr Lit lit_Error = Lit::from_index(-1);

inline constexpr int var(Lit l)
{
    return l.var();
}
inline constexpr int sign(Lit l)
{
    return l.sign();
}

static_assert(sizeof(Lit) == 4 && std::is_trivially_copyable_v<Lit>,
              "clauses are words of literals");

} // namespace tarq::dpll
