// One implementation of the software float for both widths: a template over the format, and the
// plain functions that instantiate it.
//
// Between unpacking and rounding a finite non-zero number is a sign, an exponent and a 64-bit
// significand with its top bit set, of value sig / 2^63 * 2^exp. Both formats leave at least 11
// bits below the kept ones, so whatever an operation cuts off may be folded into bit 0 (a sticky
// bit).
#include "terms/swflt.h"

#include "base/assertion.h"

#include <bit>
#include <utility>

namespace tarq::swflt {

int float_exception_flags = 0;

namespace {

__extension__ using uint128 = unsigned __int128;
using std::uint64_t;

template <class W, int E, int M>
struct Format {
    using Word = W;
    static constexpr int MANT = M;
    static constexpr int BIAS = (1 << (E - 1)) - 1;
    static constexpr int MAX_EXP = (1 << E) - 1;
    static constexpr Word SIGN = Word(1) << (E + M);
    static constexpr Word INF = Word(MAX_EXP) << M;
    static constexpr Word NAN_WORD = SIGN | INF | 1;
    static constexpr Word FRACTION = (Word(1) << M) - 1;
    static constexpr Word QUIET = Word(1) << (M - 1);
};
using F32 = Format<std::uint32_t, 8, 23>;
using F64 = Format<std::uint64_t, 11, 52>;

template <class F>
bool sign_of(typename F::Word a)
{
    return (a & F::SIGN) != 0;
}

template <class F>
typename F::Word magnitude(typename F::Word a)
{
    return a & ~F::SIGN;
}

template <class F>
bool is_nan(typename F::Word a)
{
    return magnitude<F>(a) > F::INF;
}

template <class F>
bool is_signaling(typename F::Word a)
{
    return is_nan<F>(a) && (a & F::QUIET) == 0;
}

template <class F>
typename F::Word with_sign(bool sign, typename F::Word magnitude)
{
    return sign ? magnitude | F::SIGN : magnitude;
}

template <class F>
typename F::Word invalid()
{
    float_raise(FLAG_INVALID);
    return F::NAN_WORD;
}

/// The result of an operation with a NaN operand.
template <class F>
typename F::Word propagate(typename F::Word a, typename F::Word b)
{
    if (is_signaling<F>(a) || is_signaling<F>(b))
        float_raise(FLAG_INVALID);
    return F::NAN_WORD;
}

struct Unpacked {
    bool sign;
    int exp;
    uint64_t sig;
};

/// a  finite, not zero
template <class F>
Unpacked unpack(typename F::Word a)
{
    const int field = static_cast<int>(magnitude<F>(a) >> F::MANT);
    const uint64_t fraction = uint64_t(a & F::FRACTION) << (63 - F::MANT);
    if (field != 0)
        return {sign_of<F>(a), field - F::BIAS, fraction | (uint64_t(1) << 63)};
    const int zeros = std::countl_zero(fraction);
    return {sign_of<F>(a), 1 - F::BIAS - zeros, fraction << zeros};
}

uint64_t shift_right_sticky(uint64_t x, int n)
{
    if (n == 0)
        return x;
    if (n >= 64)
        return x != 0;
    return (x >> n) | ((x << (64 - n)) != 0);
}

/// Whether a magnitude with the cut-off part `low` (of `half` at the guard bit) goes up.
bool rounds_up(bool sign, bool odd, uint64_t low, uint64_t half, int mode)
{
    switch (mode) {
    case ROUND_NEAREST_EVEN:
        return low > half || (low == half && odd);
    case ROUND_DOWN:
        return sign && low != 0;
    case ROUND_UP:
        return !sign && low != 0;
    default:
        TARQ_ASSERT(mode == ROUND_TO_ZERO);
        return false;
    }
}

template <class F>
typename F::Word round_and_pack(bool sign, int exp, uint64_t sig, int mode)
{
    constexpr int DROP = 63 - F::MANT;
    constexpr uint64_t HALF = uint64_t(1) << (DROP - 1);
    int field = exp + F::BIAS;
    bool overflow = field >= F::MAX_EXP;
    const bool tiny = field <= 0;
    if (tiny) {
        sig = shift_right_sticky(sig, 1 - field);
        field = 1;
    }
    const uint64_t low = sig & (2 * HALF - 1);
    typename F::Word kept = static_cast<typename F::Word>(sig >> DROP);
    kept += rounds_up(sign, (kept & 1) != 0, low, HALF, mode);
    // The hidden bit adds itself to the exponent field, so a carry out of the fraction, and a
    // subnormal that becomes normal, need no case of their own.
    const typename F::Word word =
        (static_cast<typename F::Word>(overflow ? 0 : field - 1) << F::MANT) + kept;
    overflow = overflow || word >= F::INF;
    if (overflow) {
        float_raise(FLAG_OVERFLOW | FLAG_INEXACT);
        const bool away = rounds_up(sign, true, HALF, HALF, mode);
        return with_sign<F>(sign, away ? F::INF : F::INF - 1);
    }
    if (low != 0)
        float_raise(tiny ? FLAG_UNDERFLOW | FLAG_INEXACT : FLAG_INEXACT);
    return with_sign<F>(sign, word);
}

template <class F>
typename F::Word add(typename F::Word a, typename F::Word b, int mode)
{
    if (is_nan<F>(a) || is_nan<F>(b))
        return propagate<F>(a, b);
    if (magnitude<F>(a) < magnitude<F>(b))
        std::swap(a, b);
    const bool subtract = sign_of<F>(a) != sign_of<F>(b);
    if (magnitude<F>(a) == F::INF)
        return subtract && magnitude<F>(b) == F::INF ? invalid<F>() : a;
    if (subtract && magnitude<F>(a) == magnitude<F>(b))
        return with_sign<F>(mode == ROUND_DOWN, 0);
    if (magnitude<F>(b) == 0)
        return a;
    const Unpacked x = unpack<F>(a);
    const Unpacked y = unpack<F>(b);
    // One bit of headroom for the carry. A difference that loses more than one leading bit comes
    // from exponents at most 1 apart, where no bit is cut off.
    const uint64_t big = x.sig >> 1;
    const uint64_t small = shift_right_sticky(y.sig, 1 + x.exp - y.exp);
    const uint64_t sum = subtract ? big - small : big + small;
    const int zeros = std::countl_zero(sum);
    return round_and_pack<F>(x.sign, x.exp + 1 - zeros, sum << zeros, mode);
}

template <class F>
typename F::Word sub(typename F::Word a, typename F::Word b, int mode)
{
    return is_nan<F>(b) ? propagate<F>(a, b) : add<F>(a, b ^ F::SIGN, mode);
}

template <class F>
typename F::Word mul(typename F::Word a, typename F::Word b, int mode)
{
    if (is_nan<F>(a) || is_nan<F>(b))
        return propagate<F>(a, b);
    const bool sign = sign_of<F>(a) != sign_of<F>(b);
    const auto x = magnitude<F>(a);
    const auto y = magnitude<F>(b);
    if (x == F::INF || y == F::INF)
        return x == 0 || y == 0 ? invalid<F>() : with_sign<F>(sign, F::INF);
    if (x == 0 || y == 0)
        return with_sign<F>(sign, 0);
    const Unpacked p = unpack<F>(a);
    const Unpacked q = unpack<F>(b);
    const uint128 product = uint128(p.sig) * q.sig;
    uint64_t sig = static_cast<uint64_t>(product >> 64) | (static_cast<uint64_t>(product) != 0);
    const int zeros = std::countl_zero(sig);
    return round_and_pack<F>(sign, p.exp + q.exp + 1 - zeros, sig << zeros, mode);
}

template <class F>
typename F::Word div(typename F::Word a, typename F::Word b, int mode)
{
    if (is_nan<F>(a) || is_nan<F>(b))
        return propagate<F>(a, b);
    const bool sign = sign_of<F>(a) != sign_of<F>(b);
    const auto x = magnitude<F>(a);
    const auto y = magnitude<F>(b);
    if (x == F::INF)
        return y == F::INF ? invalid<F>() : with_sign<F>(sign, F::INF);
    if (y == F::INF)
        return with_sign<F>(sign, 0);
    if (y == 0) {
        if (x == 0)
            return invalid<F>();
        float_raise(FLAG_DIVBYZERO);
        return with_sign<F>(sign, F::INF);
    }
    if (x == 0)
        return with_sign<F>(sign, 0);
    const Unpacked p = unpack<F>(a);
    const Unpacked q = unpack<F>(b);
    uint64_t quotient;
    bool rest;
    int scale;
    if constexpr (F::MANT < 31) {
        // Significands of 24 bits: one division of words gives 39 bits and more.
        scale = 39;
        const uint64_t num = (p.sig >> 40) << scale;
        const uint64_t den = q.sig >> 40;
        quotient = num / den;
        rest = num % den != 0;
    } else {
        scale = 62;
        const uint128 num = uint128(p.sig) << scale;
        quotient = static_cast<uint64_t>(num / q.sig);
        rest = num % q.sig != 0;
    }
    const int zeros = std::countl_zero(quotient);
    const uint64_t sig = (quotient << zeros) | rest;
    return round_and_pack<F>(sign, p.exp - q.exp + 63 - scale - zeros, sig, mode);
}

template <class F>
typename F::Word rem(typename F::Word a, typename F::Word b)
{
    if (is_nan<F>(a) || is_nan<F>(b))
        return propagate<F>(a, b);
    if (magnitude<F>(a) == F::INF || magnitude<F>(b) == 0)
        return invalid<F>();
    if (magnitude<F>(a) == 0 || magnitude<F>(b) == F::INF)
        return a;
    const Unpacked x = unpack<F>(a);
    const Unpacked y = unpack<F>(b);
    int shift = x.exp - y.exp + 1;
    if (shift < 0)
        return a; // less than half of b
    // In units of half the last place of b: remainder modulo 2*den, whose half is den.
    const uint64_t den = y.sig >> (63 - F::MANT);
    uint64_t r = x.sig >> (63 - F::MANT);
    uint64_t q = 0;
    while (shift > 0) {
        const int step = shift < 8 ? shift : 8;
        r <<= step;
        q = r / (2 * den);
        r %= 2 * den;
        shift -= step;
    }
    bool sign = x.sign;
    if (r > den || (r == den && (q & 1) != 0)) {
        r = 2 * den - r;
        sign = !sign;
    }
    if (r == 0)
        return with_sign<F>(x.sign, 0);
    const int zeros = std::countl_zero(r);
    return round_and_pack<F>(sign, y.exp - 1 - F::MANT + 63 - zeros, r << zeros,
                             ROUND_NEAREST_EVEN);
}

template <class F>
typename F::Word sqrt(typename F::Word a, int mode)
{
    if (is_nan<F>(a))
        return propagate<F>(a, a);
    if (magnitude<F>(a) == 0)
        return a;
    if (sign_of<F>(a))
        return invalid<F>();
    if (a == F::INF)
        return a;
    const Unpacked x = unpack<F>(a);
    // The radicand is the significand in [1, 4) with an even exponent, read two bits at a time from
    // the top; the root in [1, 2) gets BITS bits and the remainder tells the rest.
    constexpr int BITS = F::MANT + 3;
    const bool odd = (x.exp & 1) != 0;
    uint64_t radicand = odd ? x.sig : x.sig >> 1;
    uint64_t root = 0;
    uint64_t rest = 0;
    for (int i = 0; i < BITS; ++i) {
        rest = (rest << 2) | (radicand >> 62);
        radicand <<= 2;
        const uint64_t trial = (root << 2) | 1;
        root <<= 1;
        if (rest >= trial) {
            rest -= trial;
            root |= 1;
        }
    }
    const bool inexact = rest != 0 || radicand != 0;
    const uint64_t sig = (root << (64 - BITS)) | inexact;
    return round_and_pack<F>(false, (x.exp - odd) / 2, sig, mode);
}

template <class F>
typename F::Word round_to_int(typename F::Word a, int mode)
{
    using Word = typename F::Word;
    if (is_nan<F>(a))
        return propagate<F>(a, a);
    const Word mag = magnitude<F>(a);
    const int exp = static_cast<int>(mag >> F::MANT) - F::BIAS;
    if (exp >= F::MANT || mag == 0)
        return a;
    const bool sign = sign_of<F>(a);
    if (exp < 0) {
        // 0 or 1; the guard bit is set from one half on.
        constexpr Word HALF = Word(F::BIAS - 1) << F::MANT;
        const uint64_t low = mag < HALF ? 1 : mag == HALF ? 2 : 3;
        float_raise(FLAG_INEXACT);
        return with_sign<F>(sign, rounds_up(sign, false, low, 2, mode) ? Word(F::BIAS) << F::MANT
                                                                       : Word(0));
    }
    const Word unit = Word(1) << (F::MANT - exp);
    const Word low = mag & (unit - 1);
    if (low == 0)
        return a;
    float_raise(FLAG_INEXACT);
    Word result = mag - low;
    if (rounds_up(sign, (mag & unit) != 0, low, unit >> 1, mode))
        result += unit;
    return with_sign<F>(sign, result);
}

template <class From, class To>
typename To::Word convert(typename From::Word a, int mode)
{
    if (is_nan<From>(a)) {
        propagate<From>(a, a);
        return To::NAN_WORD;
    }
    const bool sign = sign_of<From>(a);
    if (magnitude<From>(a) == From::INF)
        return with_sign<To>(sign, To::INF);
    if (magnitude<From>(a) == 0)
        return with_sign<To>(sign, 0);
    const Unpacked x = unpack<From>(a);
    return round_and_pack<To>(sign, x.exp, x.sig, mode);
}

/// Raises what a comparison raises; true if one operand is NaN.
template <class F>
bool unordered(typename F::Word a, typename F::Word b, bool signaling)
{
    if (!is_nan<F>(a) && !is_nan<F>(b))
        return false;
    if (signaling || is_signaling<F>(a) || is_signaling<F>(b))
        float_raise(FLAG_INVALID);
    return true;
}

template <class F>
bool eq(typename F::Word a, typename F::Word b, bool signaling)
{
    return !unordered<F>(a, b, signaling) && (a == b || magnitude<F>(a | b) == 0);
}

template <class F>
bool lt(typename F::Word a, typename F::Word b, bool signaling)
{
    if (unordered<F>(a, b, signaling) || magnitude<F>(a | b) == 0)
        return false;
    if (sign_of<F>(a) != sign_of<F>(b))
        return sign_of<F>(a);
    return sign_of<F>(a) ? b < a : a < b;
}

template <class F>
bool le(typename F::Word a, typename F::Word b, bool signaling)
{
    return !unordered<F>(a, b, signaling) && !lt<F>(b, a, signaling);
}

} // namespace

#define TARQ_SWFLT_FAMILY(name, F, suffix)                                                         \
    name roundAndPack##suffix(bool sign, int exp, std::uint64_t sig, int mode)                     \
    {                                                                                              \
        return round_and_pack<F>(sign, exp, sig, mode);                                            \
    }                                                                                              \
    name name##_add(name a, name b, int mode)                                                      \
    {                                                                                              \
        return add<F>(a, b, mode);                                                                 \
    }                                                                                              \
    name name##_sub(name a, name b, int mode)                                                      \
    {                                                                                              \
        return sub<F>(a, b, mode);                                                                 \
    }                                                                                              \
    name name##_mul(name a, name b, int mode)                                                      \
    {                                                                                              \
        return mul<F>(a, b, mode);                                                                 \
    }                                                                                              \
    name name##_div(name a, name b, int mode)                                                      \
    {                                                                                              \
        return div<F>(a, b, mode);                                                                 \
    }                                                                                              \
    name name##_rem(name a, name b)                                                                \
    {                                                                                              \
        return rem<F>(a, b);                                                                       \
    }                                                                                              \
    name name##_sqrt(name a, int mode)                                                             \
    {                                                                                              \
        return sqrt<F>(a, mode);                                                                   \
    }                                                                                              \
    name name##_round_to_int(name a, int mode)                                                     \
    {                                                                                              \
        return round_to_int<F>(a, mode);                                                           \
    }                                                                                              \
    bool name##_eq(name a, name b)                                                                 \
    {                                                                                              \
        return eq<F>(a, b, false);                                                                 \
    }                                                                                              \
    bool name##_le(name a, name b)                                                                 \
    {                                                                                              \
        return le<F>(a, b, true);                                                                  \
    }                                                                                              \
    bool name##_lt(name a, name b)                                                                 \
    {                                                                                              \
        return lt<F>(a, b, true);                                                                  \
    }                                                                                              \
    bool name##_eq_signaling(name a, name b)                                                       \
    {                                                                                              \
        return eq<F>(a, b, true);                                                                  \
    }                                                                                              \
    bool name##_le_quiet(name a, name b)                                                           \
    {                                                                                              \
        return le<F>(a, b, false);                                                                 \
    }                                                                                              \
    bool name##_lt_quiet(name a, name b)                                                           \
    {                                                                                              \
        return lt<F>(a, b, false);                                                                 \
    }

TARQ_SWFLT_FAMILY(float32, F32, Float32)
TARQ_SWFLT_FAMILY(float64, F64, Float64)

float64 float32_to_float64(float32 a)
{
    return convert<F32, F64>(a, ROUND_NEAREST_EVEN);
}

float32 float64_to_float32(float64 a, int mode)
{
    return convert<F64, F32>(a, mode);
}

} // namespace tarq::swflt
