// BVNumber: shifts, bits and signed readings of integers.
#include "terms/bvnumber.h"

#include "terms/numberparts.h"

#include <bit>
#include <limits>

namespace tarq {

namespace {

/// A small non-negative number has its bits below this index; the word's sign bit is above them.
constexpr unsigned long SMALL_BITS = std::numeric_limits<long>::digits;

} // namespace

void BVNumber::pow2(unsigned long n, QNumber* out)
{
    if (n < 62) {
        *out = 1L << n;
        return;
    }
    mpz_ptr t = QNumber::gmp_tmp().t[0];
    mpz_set_ui(t, 1);
    mpz_mul_2exp(t, t, n);
    out->assign_integer(t);
}

bool BVNumber::test_bit(const QNumber& x, unsigned long i)
{
    TARQ_ASSERT(x.is_int() && !x.is_neg());
    if (x.is_small())
        return i < SMALL_BITS && ((x.small_num() >> i) & 1) != 0;
    return mpz_tstbit(x.big_->num, i) != 0;
}

void BVNumber::set_bit(QNumber& x, unsigned long i, bool value)
{
    TARQ_ASSERT(x.is_int() && !x.is_neg());
    if (x.is_small() && i < SMALL_BITS) {
        const long mask = 1L << i;
        x = value ? x.small_num() | mask : x.small_num() & ~mask;
        return;
    }
    if (test_bit(x, i) == value)
        return;
    mpz_ptr t = QNumber::gmp_tmp().t[0];
    mpz_set(t, QNumber::Parts(x).num());
    mpz_combit(t, i);
    x.assign_integer(t);
}

unsigned long BVNumber::bit_length(const QNumber& x)
{
    TARQ_ASSERT(x.is_int());
    if (x.is_small())
        return static_cast<unsigned long>(std::bit_width(magnitude(x.small_num())));
    return mpz_sizeinbase(x.big_->num, 2);
}

unsigned long BVNumber::next_one(const QNumber& x, unsigned long i)
{
    TARQ_ASSERT(x.is_int() && !x.is_neg());
    if (!x.is_small())
        return mpz_scan1(x.big_->num, i);
    if (i >= SMALL_BITS)
        return NO_BIT;
    const unsigned long rest = magnitude(x.small_num()) >> i;
    return rest == 0 ? NO_BIT : i + static_cast<unsigned long>(std::countr_zero(rest));
}

unsigned long BVNumber::next_zero(const QNumber& x, unsigned long i)
{
    TARQ_ASSERT(x.is_int() && !x.is_neg());
    if (!x.is_small())
        return mpz_scan0(x.big_->num, i);
    if (i >= SMALL_BITS)
        return i;
    return i + static_cast<unsigned long>(std::countr_one(magnitude(x.small_num()) >> i));
}

void BVNumber::bit_op_big(const QNumber& a, const QNumber& b, QNumber* out, mpz_op op)
{
    mpz_ptr t = QNumber::gmp_tmp().t[0];
    op(t, QNumber::Parts(a).num(), QNumber::Parts(b).num());
    out->assign_integer(t);
}

void BVNumber::bit_left_shift(const QNumber& x, unsigned long n, QNumber* out)
{
    TARQ_ASSERT(x.is_int());
    if (x.is_zero()) {
        *out = x;
        return;
    }
    if (x.is_small() && n < SMALL_BITS) {
        const long v = x.small_num();
        if (magnitude(v) <= static_cast<unsigned long>(std::numeric_limits<long>::max()) >> n) {
            *out = static_cast<long>(static_cast<unsigned long>(v) << n);
            return;
        }
    }
    mpz_ptr t = QNumber::gmp_tmp().t[0];
    mpz_mul_2exp(t, QNumber::Parts(x).num(), n);
    out->assign_integer(t);
}

void BVNumber::bit_right_shift(const QNumber& x, unsigned long n, QNumber* out)
{
    TARQ_ASSERT(x.is_int());
    if (x.is_small()) {
        // From the word's size on only the sign is left.
        *out = x.small_num() >> (n < SMALL_BITS ? n : SMALL_BITS);
        return;
    }
    mpz_ptr t = QNumber::gmp_tmp().t[0];
    mpz_fdiv_q_2exp(t, x.big_->num, n);
    out->assign_integer(t);
}

unsigned long BVNumber::count_leading_zeros(const QNumber& x, unsigned long width)
{
    TARQ_ASSERT(fits(x, width));
    return width - bit_length(x);
}

void BVNumber::trim(QNumber& x, unsigned long width)
{
    TARQ_ASSERT(x.is_int());
    if (fits(x, width))
        return;
    if (x.is_small() && width < SMALL_BITS) {
        x = x.small_num() & ((1L << width) - 1);
        return;
    }
    mpz_ptr t = QNumber::gmp_tmp().t[0];
    mpz_fdiv_r_2exp(t, QNumber::Parts(x).num(), width);
    x.assign_integer(t);
}

QNumber BVNumber::twos_complement(const QNumber& x, unsigned long width)
{
    return x.is_neg() ? x + pow2(width) : x;
}

QNumber BVNumber::to_signed(const QNumber& x, unsigned long width)
{
    TARQ_ASSERT(fits(x, width));
    return width > 0 && test_bit(x, width - 1) ? x - pow2(width) : x;
}

QNumber BVNumber::neg(unsigned long width, const QNumber& x)
{
    TARQ_ASSERT(fits(x, width));
    return x.is_zero() ? x : pow2(width) - x;
}

void BVNumber::sdiv(unsigned long width, const QNumber& a, const QNumber& b, QNumber* quotient,
                    QNumber* remainder)
{
    TARQ_ASSERT(width > 0 && fits(a, width) && fits(b, width) && !b.is_zero());
    const bool a_neg = test_bit(a, width - 1);
    const bool b_neg = test_bit(b, width - 1);
    QNumber q;
    QNumber r;
    (a_neg ? neg(width, a) : a).divmod(b_neg ? neg(width, b) : b, &q, &r);
    // The least value divided by -1 has the magnitude 2^(width-1), which is its own pattern.
    if (quotient)
        *quotient = a_neg != b_neg ? neg(width, q) : q;
    if (remainder)
        *remainder = a_neg ? neg(width, r) : r;
}

void BVNumber::lshl(unsigned long width, const QNumber& a, const QNumber& b, QNumber* out)
{
    TARQ_ASSERT(fits(a, width) && b.is_int() && !b.is_neg());
    long n;
    if (!b.to_int(&n) || static_cast<unsigned long>(n) >= width) {
        *out = 0;
        return;
    }
    bit_left_shift(a, static_cast<unsigned long>(n), out);
    trim(*out, width);
}

void BVNumber::lshr(unsigned long width, const QNumber& a, const QNumber& b, QNumber* out)
{
    TARQ_ASSERT(fits(a, width) && b.is_int() && !b.is_neg());
    long n;
    if (!b.to_int(&n) || static_cast<unsigned long>(n) >= width)
        *out = 0;
    else
        bit_right_shift(a, static_cast<unsigned long>(n), out);
}

} // namespace tarq
