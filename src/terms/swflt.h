// IEEE 754 binary32 and binary64 on integers, as plain functions over packed words. Which rounding
// modes and NaN patterns the rest of the system uses is in ieeefloat.h.
#pragma once

#include <cstdint>

/// The last argument of each rounding operation is the mode: 0 to nearest even, 1 toward minus
/// infinity, 2 toward plus infinity, 3 toward zero. A NaN result is always the one of `make_nan`.
/// No operation fails or allocates.
namespace tarq::swflt {

using float32 = std::uint32_t;
using float64 = std::uint64_t;

enum : int { ROUND_NEAREST_EVEN = 0, ROUND_DOWN = 1, ROUND_UP = 2, ROUND_TO_ZERO = 3 };

enum : int {
    FLAG_INVALID = 1,
    FLAG_DIVBYZERO = 2,
    FLAG_OVERFLOW = 4,
    FLAG_UNDERFLOW = 8,
    FLAG_INEXACT = 16
};

/// The exceptions raised since it was last cleared, a set of FLAG_ values. Underflow counts a
/// result that is inexact and below the normal range before rounding.
extern int float_exception_flags;
inline void float_raise(int flags)
{
    float_exception_flags |= flags;
}

/// (-1)^sign * sig / 2^63 * 2^exp, rounded and packed.
/// exp  any value whose sum with the bias and 64 is an `int`
/// sig  bit 63 is set; bit 0 also stands for all bits that were cut off below it
float32 roundAndPackFloat32(bool sign, int exp, std::uint64_t sig, int mode);
float64 roundAndPackFloat64(bool sign, int exp, std::uint64_t sig, int mode);

float32 float32_add(float32 a, float32 b, int mode);
float32 float32_sub(float32 a, float32 b, int mode);
float32 float32_mul(float32 a, float32 b, int mode);
float32 float32_div(float32 a, float32 b, int mode);
/// a - b*n with n the integer nearest to a/b, ties to even: always exact, so it takes no mode.
float32 float32_rem(float32 a, float32 b);
float32 float32_sqrt(float32 a, int mode);
/// The nearest integral value; a zero result keeps the sign.
float32 float32_round_to_int(float32 a, int mode);
float64 float32_to_float64(float32 a);

float64 float64_add(float64 a, float64 b, int mode);
float64 float64_sub(float64 a, float64 b, int mode);
float64 float64_mul(float64 a, float64 b, int mode);
float64 float64_div(float64 a, float64 b, int mode);
float64 float64_rem(float64 a, float64 b);
float64 float64_sqrt(float64 a, int mode);
float64 float64_round_to_int(float64 a, int mode);
float32 float64_to_float32(float64 a, int mode);

// IEEE comparisons. Each raises "invalid" for a signalling NaN; `le`, `lt` and `eq_signaling` for
// every NaN.
bool float32_eq(float32 a, float32 b);
bool float32_le(float32 a, float32 b);
bool float32_lt(float32 a, float32 b);
bool float32_eq_signaling(float32 a, float32 b);
bool float32_le_quiet(float32 a, float32 b);
bool float32_lt_quiet(float32 a, float32 b);
bool float64_eq(float64 a, float64 b);
bool float64_le(float64 a, float64 b);
bool float64_lt(float64 a, float64 b);
bool float64_eq_signaling(float64 a, float64 b);
bool float64_le_quiet(float64 a, float64 b);
bool float64_lt_quiet(float64 a, float64 b);

constexpr float32 float32_make_nan()
{
    return 0xFF800001u;
}
constexpr float32 float32_make_inf()
{
    return 0x7F800000u;
}
constexpr float64 float64_make_nan()
{
    return 0xFFF0000000000001u;
}
constexpr float64 float64_make_inf()
{
    return 0x7FF0000000000000u;
}

constexpr bool float32_sign(float32 a)
{
    return (a >> 31) != 0;
}
constexpr float32 float32_set_sign(float32 a, bool sign)
{
    return (a & 0x7FFFFFFFu) | (float32(sign) << 31);
}
constexpr float32 float32_negate(float32 a)
{
    return a ^ 0x80000000u;
}
constexpr bool float32_is_nan(float32 a)
{
    return (a & 0x7FFFFFFFu) > float32_make_inf();
}
/// A NaN whose top fraction bit is clear.
constexpr bool float32_is_signaling_nan(float32 a)
{
    return float32_is_nan(a) && (a & 0x00400000u) == 0;
}
constexpr bool float32_is_inf(float32 a)
{
    return (a & 0x7FFFFFFFu) == float32_make_inf();
}
constexpr bool float32_is_zero(float32 a)
{
    return (a & 0x7FFFFFFFu) == 0;
}
constexpr bool float32_is_subnormal(float32 a)
{
    return (a & 0x7F800000u) == 0 && !float32_is_zero(a);
}

constexpr bool float64_sign(float64 a)
{
    return (a >> 63) != 0;
}
constexpr float64 float64_set_sign(float64 a, bool sign)
{
    return (a & 0x7FFFFFFFFFFFFFFFu) | (float64(sign) << 63);
}
constexpr float64 float64_negate(float64 a)
{
    return a ^ 0x8000000000000000u;
}
constexpr bool float64_is_nan(float64 a)
{
    return (a & 0x7FFFFFFFFFFFFFFFu) > float64_make_inf();
}
constexpr bool float64_is_signaling_nan(float64 a)
{
    return float64_is_nan(a) && (a & 0x0008000000000000u) == 0;
}
constexpr bool float64_is_inf(float64 a)
{
    return (a & 0x7FFFFFFFFFFFFFFFu) == float64_make_inf();
}
constexpr bool float64_is_zero(float64 a)
{
    return (a & 0x7FFFFFFFFFFFFFFFu) == 0;
}
constexpr bool float64_is_subnormal(float64 a)
{
    return (a & 0x7FF0000000000000u) == 0 && !float64_is_zero(a);
}

} // namespace tarq::swflt
