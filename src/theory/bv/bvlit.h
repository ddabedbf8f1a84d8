// BvLit: the bit literals of bit-blasting.
#pragma once

#include "dpll/lit.h"

#include <cstdint>
#include <type_traits>

namespace tarq::bv {

/// A bit: a constant, or a variable from 2 upward with a sign, as one signed 32-bit value. Negation
/// is arithmetic negation, and the constants are each other's, so that they need no special case.
/// Only clause sinks know which variable of a SAT engine is meant.
class BvLit {
public:
    /// The undefined literal.
    constexpr BvLit() = default;
    constexpr explicit BvLit(int32_t value) : value_(value) {}

    constexpr int32_t value() const { return value_; }
    constexpr bool is_undef() const { return value_ == 0; }
    constexpr bool is_true() const { return value_ == 1; }
    constexpr bool is_false() const { return value_ == -1; }
    constexpr bool is_constant() const { return value_ == 1 || value_ == -1; }
    constexpr BvLit operator-() const { return BvLit(-value_); }
    constexpr bool operator==(const BvLit&) const = default;

    /// The bit that a literal of a SAT engine stands for, and back; the latter for bits that are
    /// neither constant nor undefined.
    static constexpr BvLit from_sat(dpll::Lit l)
    {
        return BvLit(l.sign() != 0 ? -(l.var() + 2) : l.var() + 2);
    }
    constexpr dpll::Lit to_sat() const
    {
        return dpll::Lit((value_ < 0 ? -value_ : value_) - 2, value_ < 0);
    }

private:
    int32_t value_ = 0;
};

inline constexpr BvLit l_undef{};
inline constexpr BvLit l_true{1};
inline constexpr BvLit l_false{-1};

static_assert(sizeof(BvLit) == 4 && std::is_trivially_copyable_v<BvLit>,
              "words are arrays of these");

} // namespace tarq::bv
