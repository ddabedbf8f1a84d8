// QNumber against GMP's rationals, with values around every limit of the small form.
#include "terms/numbers.h"

#include "base/hashtable.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

namespace tarq {
namespace {

constexpr long MIN = std::numeric_limits<long>::min();
constexpr long MAX = std::numeric_limits<long>::max();

QNumber big(QNumber x)
{
    x.make_big();
    return x;
}

QNumber num(const char* s)
{
    return QNumber::from_str(s);
}

mpq_class mpq(const char* s)
{
    mpq_class q(s);
    q.canonicalize();
    return q;
}

/// The value agrees with GMP's in canonical form, and the small form holds what it may hold.
void expect_value(const QNumber& q, const mpq_class& m)
{
    ASSERT_EQ(q.to_mpq(), m) << q;
    if (q.is_small()) {
        ASSERT_TRUE(q.small_num() != MIN && q.small_den() >= 1) << q;
    } else {
        ASSERT_NE(sgn(m), 0) << "a zero in the big form";
    }
}

class RandomNumbers {
public:
    explicit RandomNumbers(unsigned seed) : rng_(seed) {}
    unsigned below(unsigned n) { return static_cast<unsigned>(rng_() % n); }
    std::uint64_t word() { return rng_(); }

    /// An integer near a power of two, with the word and half-word limits preferred, or small.
    mpz_class integer()
    {
        static constexpr unsigned EXPONENTS[] = {0,  5,  10, 31, 32,  61, 62,
                                                 63, 63, 64, 65, 127, 128};
        mpz_class z;
        switch (below(4)) {
        case 0:
            z = below(30);
            break;
        case 1:
            z = static_cast<unsigned long>(rng_() >> below(64));
            break;
        default:
            z = mpz_class(1) << EXPONENTS[below(std::size(EXPONENTS))];
            z += static_cast<long>(below(7)) - 3;
        }
        return below(2) ? z : mpz_class(-z);
    }
    mpq_class rational()
    {
        mpz_class d = below(3) ? integer() : mpz_class(1);
        if (d == 0)
            d = 7;
        mpq_class q(integer(), d);
        q.canonicalize();
        return q;
    }

private:
    std::mt19937_64 rng_;
};

/// One random operation on the pair of sequences, result stored at `to`.
void step(RandomNumbers& rng, std::vector<QNumber>& q, std::vector<mpq_class>& m, unsigned to)
{
    const unsigned i = rng.below(static_cast<unsigned>(q.size()));
    const unsigned j = rng.below(static_cast<unsigned>(q.size()));
    switch (rng.below(8)) {
    case 0:
        q[i].make_big();
        break;
    case 1:
        q[i].make_small();
        break;
    default:
        break;
    }
    switch (rng.below(14)) {
    case 0:
    case 1:
        q[to] = q[i] + q[j];
        m[to] = m[i] + m[j];
        break;
    case 2:
    case 3:
        q[to] = q[i] - q[j];
        m[to] = m[i] - m[j];
        break;
    case 4:
    case 5:
        q[to] = q[i] * q[j];
        m[to] = m[i] * m[j];
        break;
    case 6:
        if (m[j] != 0) {
            q[to] = q[i] / q[j];
            m[to] = m[i] / m[j];
        }
        break;
    case 7: {
        q[i] += q[j];
        m[i] += mpq_class(m[j]);
        expect_value(q[i], m[i]);
        break;
    }
    case 8:
        q[i] -= q[j];
        m[i] -= mpq_class(m[j]);
        expect_value(q[i], m[i]);
        break;
    case 9: {
        const long v = static_cast<long>(rng.word() >> rng.below(64));
        q[to] = q[i];
        q[to] += v;
        m[to] = m[i] + mpq_class(v);
        break;
    }
    case 10: {
        mpz_class f, c;
        mpz_fdiv_q(f.get_mpz_t(), m[i].get_num_mpz_t(), m[i].get_den_mpz_t());
        mpz_cdiv_q(c.get_mpz_t(), m[i].get_num_mpz_t(), m[i].get_den_mpz_t());
        expect_value(q[i].floor(), mpq_class(f));
        expect_value(q[i].ceil(), mpq_class(c));
        break;
    }
    case 11: {
        const QNumber a = q[i].get_num();
        QNumber b = q[j].get_num();
        const mpz_class x = m[i].get_num();
        const mpz_class y = m[j].get_num();
        expect_value(gcd(a, b), mpq_class(gcd(x, y)));
        expect_value(lcm(a, b), mpq_class(lcm(x, y)));
        if (y != 0) {
            mpz_class d, r;
            mpz_fdiv_qr(d.get_mpz_t(), r.get_mpz_t(), x.get_mpz_t(), y.get_mpz_t());
            QNumber quotient;
            a.divmod(b, &quotient, &b);
            expect_value(quotient, mpq_class(d));
            expect_value(b, mpq_class(r));
        }
        break;
    }
    case 12:
        q[to] = -q[i];
        m[to] = -m[i];
        if (m[to] != 0) {
            q[to] = q[to].inv();
            m[to] = 1 / m[to];
        }
        break;
    default:
        q[to] = abs(q[i]);
        m[to] = abs(m[i]);
        break;
    }
    ASSERT_EQ(q[i] < q[j], m[i] < m[j]) << q[i] << " " << q[j];
    ASSERT_EQ(q[i] == q[j], m[i] == m[j]) << q[i] << " " << q[j];
    ASSERT_EQ(q[i].compare_abs(q[j]) < 0, abs(m[i]) < abs(m[j])) << q[i] << " " << q[j];
    expect_value(q[to], m[to]);
}

TEST(QNumber, random_arithmetic_agrees_with_gmp_across_the_limits)
{
    // The number of operations may be raised for a long run.
    const char* ops = std::getenv("TARQ_NUMBER_OPS");
    const long n = ops ? std::atol(ops) : 100000;
    RandomNumbers rng(1);
    std::vector<QNumber> q(48);
    std::vector<mpq_class> m(q.size());
    for (long k = 0; k < n; ++k) {
        const unsigned to = rng.below(static_cast<unsigned>(q.size()));
        step(rng, q, m, to);
        ASSERT_FALSE(testing::Test::HasFatalFailure()) << "operation " << k;
        // Fresh values keep the sequence near the limits instead of growing without end.
        for (unsigned i = 0; i < q.size(); ++i) {
            if (mpz_sizeinbase(m[i].get_num_mpz_t(), 2) + mpz_sizeinbase(m[i].get_den_mpz_t(), 2) >
                    300 ||
                (i == to && rng.below(4) == 0)) {
                m[i] = rng.rational();
                q[i] = QNumber(m[i]);
                expect_value(q[i], m[i]);
            }
        }
    }
}

TEST(QNumber, least_word_is_never_held_small)
{
    EXPECT_FALSE(QNumber(MIN).is_small());
    EXPECT_FALSE(QNumber(1, MIN).is_small());
    expect_value(QNumber(1, MIN), mpq("-1/9223372036854775808"));
    expect_value(QNumber(MIN, 2), mpq("-4611686018427387904"));
    expect_value(QNumber(MIN, MIN), mpq("1"));
    expect_value(QNumber(0, MIN), mpq("0"));
    expect_value(QNumber(18446744073709551615ul), mpq("18446744073709551615"));
    expect_value(QNumber(1ul << 63), mpq("9223372036854775808"));
    const QNumber p = QNumber(MAX) + 1;
    EXPECT_FALSE(p.is_small());
    EXPECT_EQ(p.neg(), QNumber(MIN));
    EXPECT_FALSE(p.neg().is_small());
    // Sums and products that hit the least word exactly, in integers and in fractions.
    expect_value(QNumber(-MAX) - 1, mpq("-9223372036854775808"));
    expect_value(QNumber(1L << 32) * QNumber(-(1L << 31)), mpq("-9223372036854775808"));
    expect_value(QNumber(-MAX, 3) - QNumber(1, 3), mpq("-9223372036854775808/3"));
    expect_value(QNumber(1, 1L << 32) / QNumber(-(1L << 31)), mpq("-1/9223372036854775808"));
}

TEST(QNumber, zero_is_small_whatever_made_it)
{
    QNumber x = big(7);
    EXPECT_FALSE(x.is_small());
    QNumber y = x;
    y *= 0;
    EXPECT_TRUE(y.is_small() && y.is_zero());
    y = x;
    const QNumber& self = y;
    y -= self;
    EXPECT_TRUE(y.is_small() && y.is_zero() && y.is_int());
    EXPECT_TRUE(big(0).is_small());
    EXPECT_TRUE((QNumber(0) * x).is_zero());
    EXPECT_EQ(QNumber(0, -5).small_den(), 1);
}

TEST(QNumber, form_does_not_show)
{
    // The hash formula gives 0 for the first value.
    for (const QNumber& x : {QNumber(-4294967297), QNumber(-8589934592), QNumber(5),
                             QNumber(-22, 7), QNumber(MAX), QNumber(1, MAX)}) {
        const QNumber b = big(x);
        ASSERT_FALSE(b.is_small());
        EXPECT_TRUE(x == b && b == x && !(x < b) && !(b < x) && x <= b && x >= b);
        EXPECT_EQ(x.hash(), b.hash());
        EXPECT_EQ(hsh::hash<QNumber>()(x), b.hash());
        EXPECT_EQ(x.to_str(), b.to_str());
        EXPECT_EQ(x.to_float_str(5), b.to_float_str(5));
        EXPECT_EQ(x.is_int(), b.is_int());
        EXPECT_EQ(x.sign(), b.sign());
        QNumber c = b;
        EXPECT_TRUE(c.make_small() && c.is_small() && c == x);
    }
    QNumber huge = QNumber(MAX) * QNumber(MAX);
    EXPECT_FALSE(huge.make_small());
    EXPECT_EQ(huge, QNumber(huge.num_to_mpz()));
}

TEST(QNumber, divmod_rounds_to_minus_infinity_in_both_forms)
{
    for (long a = -9; a <= 9; ++a) {
        for (long d : {-4L, -1L, 1L, 3L, 256L}) {
            const long r = (a % d + d) % d;
            const long q = (a - r) / d;
            for (const auto& [x, y] :
                 {std::pair(QNumber(a), QNumber(d)), std::pair(big(a), QNumber(d)),
                  std::pair(QNumber(a), big(d))}) {
                QNumber quotient, remainder;
                x.divmod(y, &quotient, &remainder);
                EXPECT_EQ(remainder, r) << a << " by " << d;
                EXPECT_EQ(quotient, q) << a << " by " << d;
                x.divmod(y, nullptr, &remainder);
                x.divmod(y, &quotient, nullptr);
                EXPECT_EQ(quotient * y + remainder, x);
            }
        }
    }
}

TEST(QNumber, gcd_of_words)
{
    EXPECT_EQ(gcd(0L, 0L), 0);
    EXPECT_EQ(gcd(-12L, -18L), 6);
    EXPECT_EQ(gcd(0L, -5L), 5);
    EXPECT_EQ(gcd(MAX, -MAX), MAX);
    RandomNumbers rng(2);
    for (int k = 0; k < 50000; ++k) {
        const long a = static_cast<long>(rng.word() >> (1 + rng.below(63)));
        const long b = static_cast<long>(rng.word() >> (1 + rng.below(63)));
        const long common = static_cast<long>(1 + rng.below(2000));
        for (const auto& [x, y] :
             {std::pair(a, b), std::pair(a % 1000000 * common, b % 1024 * common)}) {
            const mpz_class g = gcd(mpz_class(x), mpz_class(y));
            ASSERT_EQ(gcd(x, y), g.get_si()) << x << " " << y;
            ASSERT_EQ(gcd(-y, x), g.get_si()) << x << " " << y;
        }
    }
}

TEST(QNumber, operand_may_be_the_number_itself)
{
    for (const QNumber& x : {QNumber(3), QNumber(-5, 6), QNumber(MAX), QNumber(MAX, 2), big(3),
                             big(QNumber(-5, 6)), QNumber(MIN) / 7}) {
        const mpq_class m = x.to_mpq();
        QNumber y = x;
        const QNumber& self = y;
        y += self;
        expect_value(y, m + m);
        y = x;
        y *= self;
        expect_value(y, m * m);
        y = x;
        y /= self;
        expect_value(y, 1);
        y = x;
        y -= self;
        expect_value(y, 0);
        y = x;
        y = self;
        expect_value(y, m);
        const QNumber moved = std::move(y);
        expect_value(moved, m);
        y = x.get_num();
        y.divmod(y, &y, nullptr);
        expect_value(y, 1);
    }
}

TEST(QNumber, machine_integers)
{
    long l = 17;
    int i = 17;
    EXPECT_FALSE(QNumber(1, 2).to_int(&l) || big(QNumber(1, 2)).to_int(&l));
    EXPECT_FALSE((QNumber(MAX) + 1).to_int(&l) || QNumber(1L << 31).to_int(&i));
    EXPECT_TRUE(l == 17 && i == 17);
    EXPECT_TRUE(QNumber(MIN).to_int(&l) && l == MIN);
    EXPECT_TRUE(big(-3).to_int(&i) && i == -3);
    EXPECT_TRUE(QNumber(18446744073709551615ul) > MAX && QNumber(3) < 4u && 5 == QNumber(5));
}

TEST(QNumber, from_str_reads_integers_fractions_and_decimals)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "0"},
        {"-", "0"},
        {"-0", "0"},
        {"-5", "-5"},
        {"0007", "7"},
        {"7/14", "1/2"},
        {"-6/4", "-3/2"},
        {"6/-4", "-3/2"},
        {"0/9", "0"},
        {"1e2", "100"},
        {"1.50", "3/2"},
        {"2.5e-1", "1/4"},
        {"-.5", "-1/2"},
        {"5.", "5"},
        {"0.0", "0"},
        {"-0.000e5", "0"},
        {"1.25E+3", "1250"},
        {"12e-1", "6/5"},
        {"0.015625", "1/64"},
        {"3125e-3", "25/8"},
        {"625.0e-2", "25/4"},
        {"9223372036854775807", "9223372036854775807"},
        {"-9223372036854775808", "-9223372036854775808"},
        {"9223372036854775808/3", "9223372036854775808/3"},
        {"123456789012345678901234567890", "123456789012345678901234567890"},
        {"18446744073709551616/36893488147419103232", "1/2"}};
    for (const auto& [text, value] : cases) {
        expect_value(num(text), mpq(value));
        EXPECT_EQ(num(text).to_str(), value);
        std::ostringstream out;
        out << num(text);
        EXPECT_EQ(out.str(), value);
    }
    EXPECT_TRUE(num("9223372036854775807").is_small() && num("00000000000000000000012").is_small());
    EXPECT_FALSE(num("-9223372036854775808").is_small());
    EXPECT_EQ(num("1e1000") / num("1e998"), 100);
    EXPECT_EQ(num("1e-1000000") * num("1e1000000"), 1);
    EXPECT_EQ(QNumber(1, 3).to_float_str(4), "0.3333");
    EXPECT_EQ(num("-123456789/1000").to_float_str(10), "-123456.789");
}

TEST(QNumber, from_str_refuses_everything_else)
{
    const std::pair<std::string, std::string> cases[] = {
        {"abc", "abc"},
        {"+5", "+5"},
        {" 5", " 5"},
        {"5 ", "5 "},
        {"1 2", "1 2"},
        {"--5", "--5"},
        {"1/", "1/"},
        {"/2", "/2"},
        {"1/2/3", "1/2/3"},
        {"1/--2", "1/--2"},
        {"1.5/2", "1.5/2"},
        {"1/2e3", "1/2e3"},
        {".", "."},
        {"-.", "-."},
        {"1.2.3", "1.2.3"},
        {"e5", "e5"},
        {"1e", "1e"},
        {"1e+", "1e+"},
        {"1e1.5", "1e1.5"},
        {"0x10", "0x10"},
        {"1/0", "1/0 (zero denominator)"},
        {"0/-0", "0/-0 (zero denominator)"},
        {"1e1000001", "1e1000001 (exponent out of range)"},
        {"1e-99999999999999999999", "1e-99999999999999999999 (exponent out of range)"},
        {std::string("1\0002", 3), std::string("1\0002", 3)},
        {std::string(1000, 'x'), std::string(200, 'x') + "..."}};
    for (const auto& [text, shown] : cases) {
        try {
            const QNumber x = QNumber::from_str(text);
            ADD_FAILURE() << text << " read as " << x;
        } catch (const QNumber::error& e) {
            EXPECT_EQ(e.get_msg(), "invalid argument to Number::from_str: " + shown);
        }
    }
    EXPECT_THROW(QNumber::from_str(static_cast<const char*>(nullptr)), QNumber::error);
}

TEST(QNumber, from_str_takes_very_long_texts)
{
    const std::string ones(1000000, '1');
    const QNumber x = QNumber::from_str(ones);
    EXPECT_EQ(x * 9 + 1, QNumber::from_str("1" + std::string(1000000, '0')));
    EXPECT_EQ(x.to_str(), ones);
    EXPECT_EQ(QNumber::from_str("0." + std::string(1000000, '9') + "5"),
              1 - QNumber::from_str("0." + std::string(1000000, '0') + "5"));
}

} // namespace
} // namespace tarq
