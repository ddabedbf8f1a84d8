// Numbers read as bit patterns: BVNumber, the integer operations of bit-vector arithmetic.
#pragma once

#include "terms/numbers.h"

namespace tarq {

/// Static helpers that treat a non-negative integer below 2^width as a word of `width` bits, bit 0
/// the least significant. Widths, bit indices and shift counts are in bits. Out-parameters may be
/// the arguments themselves.
class BVNumber {
public:
    BVNumber() = delete;

    /// 2^n. Aborts in GMP when the number does not fit the memory.
    static QNumber pow2(unsigned long n)
    {
        QNumber r;
        pow2(n, &r);
        return r;
    }
    static void pow2(unsigned long n, QNumber* out);

    /// Bit `i` of the non-negative integer `x`; false above its length.
    static bool test_bit(const QNumber& x, unsigned long i);
    /// Sets bit `i` of the non-negative integer `x` to `value`.
    static void set_bit(QNumber& x, unsigned long i, bool value);
    /// Index of the top set bit of the absolute value, plus 1; 0 for 0.
    static unsigned long bit_length(const QNumber& x);
    /// Index of the first set bit of the non-negative integer `x` at or above `i`, or NO_BIT.
    static unsigned long next_one(const QNumber& x, unsigned long i);
    /// Index of the first clear bit of the non-negative integer `x` at or above `i`.
    static unsigned long next_zero(const QNumber& x, unsigned long i);
    static constexpr unsigned long NO_BIT = ~0ul;

    static long bit_and_l(long a, long b) { return a & b; }
    static long bit_or_l(long a, long b) { return a | b; }
    static long bit_xor_l(long a, long b) { return a ^ b; }

    /// A bitwise operation on integers: F on the words of two small ones, else G of GMP. Negative
    /// operands count as infinite two's complement words.
    /// out  receives the result; may be `a` or `b`
    template <long (*F)(long, long), void (*G)(mpz_ptr, mpz_srcptr, mpz_srcptr)>
    static void bit_op(const QNumber& a, const QNumber& b, QNumber* out)
    {
        TARQ_ASSERT(a.is_int() && b.is_int());
        if (a.is_small() && b.is_small()) [[likely]]
            *out = F(a.small_num(), b.small_num());
        else
            bit_op_big(a, b, out, G);
    }
    static void bit_and(const QNumber& a, const QNumber& b, QNumber* out)
    {
        bit_op<bit_and_l, mpz_and>(a, b, out);
    }
    static void bit_or(const QNumber& a, const QNumber& b, QNumber* out)
    {
        bit_op<bit_or_l, mpz_ior>(a, b, out);
    }
    static void bit_xor(const QNumber& a, const QNumber& b, QNumber* out)
    {
        bit_op<bit_xor_l, mpz_xor>(a, b, out);
    }

    /// x * 2^n for an integer x.
    static void bit_left_shift(const QNumber& x, unsigned long n, QNumber* out);
    /// floor(x / 2^n) for an integer x.
    static void bit_right_shift(const QNumber& x, unsigned long n, QNumber* out);
    static QNumber bit_right_shift(const QNumber& x, unsigned long n)
    {
        QNumber r;
        bit_right_shift(x, n, &r);
        return r;
    }

    /// Number of zero bits above the top set bit within `width` bits; `width` for 0.
    /// x  non-negative, below 2^width
    static unsigned long count_leading_zeros(const QNumber& x, unsigned long width);

    /// Whether the integer x lies in 0 .. 2^width - 1.
    static bool fits(const QNumber& x, unsigned long width)
    {
        return !x.is_neg() && bit_length(x) <= width;
    }
    /// Reduces the integer `x`, of either sign, modulo 2^width.
    static void trim(QNumber& x, unsigned long width);
    /// x for a non-negative x, else x + 2^width.
    static QNumber twos_complement(const QNumber& x, unsigned long width);
    /// The value of the pattern `x` as a signed number: x, or x - 2^width if bit width - 1 is set.
    static QNumber to_signed(const QNumber& x, unsigned long width);
    /// The pattern of -x: 0 for 0, else 2^width - x.
    static QNumber neg(unsigned long width, const QNumber& x);

    /// Signed division of two patterns, rounding to zero; the remainder takes the sign of `a`.
    /// b                    not 0
    /// quotient, remainder  receive patterns; either may be null; not the same object
    static void sdiv(unsigned long width, const QNumber& a, const QNumber& b, QNumber* quotient,
                     QNumber* remainder);

    /// a shifted left by the value of `b`, within `width` bits: 0 when b is `width` or more.
    static void lshl(unsigned long width, const QNumber& a, const QNumber& b, QNumber* out);
    /// a shifted right by the value of `b`, zeros coming in: 0 when b is `width` or more.
    static void lshr(unsigned long width, const QNumber& a, const QNumber& b, QNumber* out);

private:
    using mpz_op = void (*)(mpz_ptr, mpz_srcptr, mpz_srcptr);
    static void bit_op_big(const QNumber& a, const QNumber& b, QNumber* out, mpz_op op);
};

} // namespace tarq
