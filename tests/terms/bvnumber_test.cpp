// BVNumber against plain machine words at small widths and against GMP at widths around the limits
// of the small form.
#include "terms/bvnumber.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

namespace tarq {
namespace {

mpz_class mpz_pow2(unsigned long n)
{
    mpz_class z(1);
    z <<= n;
    return z;
}

/// A word of `width` bits: dense, sparse or near the ends of its range.
mpz_class random_word(std::mt19937_64& rng, unsigned long width)
{
    const mpz_class top = mpz_pow2(width);
    mpz_class z;
    switch (rng() % 4) {
    case 0:
        z = static_cast<unsigned long>(rng() % 3);
        break;
    case 1:
        z = top - 1 - static_cast<unsigned long>(rng() % 3);
        break;
    case 2:
        z = top / 2 + static_cast<unsigned long>(rng() % 3);
        break;
    default:
        for (int i = 0; i < 4; ++i)
            z = (z << 64) + static_cast<unsigned long>(rng());
    }
    mpz_mod(z.get_mpz_t(), z.get_mpz_t(), top.get_mpz_t());
    return z;
}

/// The number, in the big form in half of the cases.
QNumber number(std::mt19937_64& rng, const mpz_class& z)
{
    QNumber q(z);
    if (rng() % 2)
        q.make_big();
    return q;
}

constexpr unsigned long WIDTHS[] = {1, 2, 7, 31, 32, 61, 62, 63, 64, 65, 127, 128, 200};

TEST(BVNumber, bits_and_shifts_agree_with_gmp)
{
    std::mt19937_64 rng(3);
    for (int k = 0; k < 20000; ++k) {
        const unsigned long width = WIDTHS[rng() % std::size(WIDTHS)];
        const mpz_class x = random_word(rng, width);
        const mpz_class y = random_word(rng, width);
        const QNumber a = number(rng, x);
        const QNumber b = number(rng, y);
        QNumber r;
        BVNumber::bit_and(a, b, &r);
        ASSERT_EQ(r, QNumber(mpz_class(x & y)));
        BVNumber::bit_or(a, b, &r);
        ASSERT_EQ(r, QNumber(mpz_class(x | y)));
        r = a;
        BVNumber::bit_xor(r, b, &r);
        ASSERT_EQ(r, QNumber(mpz_class(x ^ y)));

        const unsigned long n = rng() % 140;
        BVNumber::bit_left_shift(a, n, &r);
        ASSERT_EQ(r, QNumber(mpz_class(x << n))) << a << " << " << n;
        ASSERT_EQ(BVNumber::bit_right_shift(a, n), QNumber(mpz_class(x >> n))) << a << " >> " << n;
        BVNumber::bit_left_shift(a.neg(), n, &r);
        ASSERT_EQ(r, QNumber(mpz_class(-x << n))) << "-" << a << " << " << n;
        ASSERT_EQ(BVNumber::bit_right_shift(a.neg(), n), QNumber(mpz_class(-x >> n)))
            << a << " " << n;

        const bool bit = mpz_tstbit(x.get_mpz_t(), n) != 0;
        ASSERT_EQ(BVNumber::test_bit(a, n), bit) << a << " bit " << n;
        for (const bool value : {false, true}) {
            r = a;
            BVNumber::set_bit(r, n, value);
            mpz_class z = x;
            if (bit != value)
                mpz_combit(z.get_mpz_t(), n);
            ASSERT_EQ(r, QNumber(z)) << a << " bit " << n;
        }
        const unsigned long length = x == 0 ? 0 : mpz_sizeinbase(x.get_mpz_t(), 2);
        ASSERT_EQ(BVNumber::count_leading_zeros(a, width), width - length) << a;
        ASSERT_EQ(BVNumber::next_one(a, n), mpz_scan1(x.get_mpz_t(), n)) << a << " " << n;
        ASSERT_EQ(BVNumber::next_zero(a, n), mpz_scan0(x.get_mpz_t(), n)) << a << " " << n;
        for (const mpz_class& v : {x, mpz_class(-x)}) {
            r = number(rng, v);
            BVNumber::trim(r, n);
            mpz_class expected;
            mpz_fdiv_r_2exp(expected.get_mpz_t(), v.get_mpz_t(), n);
            ASSERT_EQ(r, QNumber(expected)) << v << " to " << n;
        }

        // Shifts within the width, by amounts on both sides of it.
        const mpz_class amount = rng() % 3 ? mpz_class(rng() % (2 * width + 1)) : y;
        const bool out = amount >= width;
        const mpz_class top = mpz_pow2(width);
        const unsigned long s = out ? 0 : amount.get_ui();
        BVNumber::lshl(width, a, number(rng, amount), &r);
        ASSERT_EQ(r, out ? QNumber() : QNumber(mpz_class((x << s) % top))) << a << " " << amount;
        BVNumber::lshr(width, a, number(rng, amount), &r);
        ASSERT_EQ(r, out ? QNumber() : QNumber(mpz_class(x >> s))) << a << " " << amount;
    }
}

TEST(BVNumber, powers_of_two_are_small_when_they_fit)
{
    for (unsigned long n = 0; n < 140; ++n) {
        EXPECT_EQ(BVNumber::pow2(n), QNumber(mpz_pow2(n)));
        EXPECT_EQ(BVNumber::pow2(n).is_small(), n < 63);
    }
    QNumber x = BVNumber::pow2(100);
    BVNumber::pow2(5, &x);
    EXPECT_TRUE(x.is_small() && x == 32);
}

TEST(BVNumber, signed_operations_agree_with_words)
{
    for (unsigned long width = 1; width <= 4; ++width) {
        const long top = 1L << width;
        const auto value = [&](long x) { return x >= top / 2 ? x - top : x; };
        const auto pattern = [&](long x) { return QNumber((x % top + top) % top); };
        for (long a = 0; a < top; ++a) {
            EXPECT_EQ(BVNumber::neg(width, a), pattern(-a));
            EXPECT_EQ(BVNumber::to_signed(a, width), value(a));
            EXPECT_EQ(BVNumber::twos_complement(value(a), width), a);
            for (long b = 1; b < top; ++b) {
                QNumber q = a;
                QNumber r = b;
                BVNumber::sdiv(width, q, r, &q, &r);
                EXPECT_EQ(q, pattern(value(a) / value(b))) << width << ": " << a << " " << b;
                EXPECT_EQ(r, pattern(value(a) % value(b))) << width << ": " << a << " " << b;
            }
        }
    }
    std::mt19937_64 rng(4);
    for (int k = 0; k < 5000; ++k) {
        const unsigned long width = WIDTHS[rng() % std::size(WIDTHS)];
        const mpz_class top = mpz_pow2(width);
        const mpz_class x = random_word(rng, width);
        const mpz_class y = random_word(rng, width);
        if (y == 0)
            continue;
        const mpz_class sx = 2 * x >= top ? mpz_class(x - top) : x;
        const mpz_class sy = 2 * y >= top ? mpz_class(y - top) : y;
        mpz_class q, r;
        mpz_tdiv_qr(q.get_mpz_t(), r.get_mpz_t(), sx.get_mpz_t(), sy.get_mpz_t());
        mpz_mod(q.get_mpz_t(), q.get_mpz_t(), top.get_mpz_t());
        mpz_mod(r.get_mpz_t(), r.get_mpz_t(), top.get_mpz_t());
        QNumber quotient, remainder;
        BVNumber::sdiv(width, number(rng, x), number(rng, y), &quotient, &remainder);
        ASSERT_EQ(quotient, QNumber(q)) << width << ": " << x << " " << y;
        ASSERT_EQ(remainder, QNumber(r)) << width << ": " << x << " " << y;
        ASSERT_EQ(BVNumber::to_signed(number(rng, x), width), QNumber(sx));
    }
}

} // namespace
} // namespace tarq
