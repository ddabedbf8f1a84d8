// Three-valued truth, one byte.
#pragma once

#include <cstdint>

namespace tarq {

/// A truth value in one byte: 0 true, 1 false, any value with bit 1 (mask 2) set undefined.
/// Xor with a sign bit negates a defined value and keeps an undefined one undefined.
class lbool {
public:
    constexpr lbool() : v_(2) {}
    constexpr explicit lbool(uint8_t v) : v_(v) {}
    static constexpr lbool from_bool(bool b) { return lbool(static_cast<uint8_t>(!b)); }

    constexpr uint8_t raw() const { return v_; }
    constexpr bool is_undef() const { return (v_ & 2) != 0; }
    constexpr bool is_true() const { return v_ == 0; }
    constexpr bool is_false() const { return v_ == 1; }
    /// The value of a literal over this variable; `sign` 1 stands for the negative literal.
    constexpr lbool operator^(int sign) const { return lbool(static_cast<uint8_t>(v_ ^ sign)); }
    constexpr bool operator==(lbool o) const { return (is_undef() && o.is_undef()) || v_ == o.v_; }

private:
    uint8_t v_;
};

inline constexpr lbool l_True{0};
inline constexpr lbool l_False{1};
inline constexpr lbool l_Undef{2};

static_assert(sizeof(lbool) == 1, "assignments are arrays of bytes");

} // namespace tarq
