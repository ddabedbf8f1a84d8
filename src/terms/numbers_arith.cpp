// The arithmetic of QNumber beyond integers that fit: gcd of words, fractions, overflow, and
// operands in the big form.
#include "terms/numbers.h"

#include "terms/numberparts.h"

#include <bit>
#include <cstdint>

namespace tarq {

namespace {

/// gcd values of pairs below 1024 at index (a << 10) + b; 0 stands for "not known yet". 16 bits
/// hold every value, and the smaller table stays in the cache better than one of words would.
constexpr unsigned GCD_CACHE_BITS = 10;
std::uint16_t gcd_cache[std::size_t(1) << (2 * GCD_CACHE_BITS)];

unsigned long gcd_small(unsigned long a, unsigned long b)
{
    std::uint16_t& entry = gcd_cache[(a << GCD_CACHE_BITS) + b];
    if (entry != 0) [[likely]]
        return entry;
    const std::size_t mirrored = (b << GCD_CACHE_BITS) + a;
    while (b != 0) {
        const unsigned long r = a % b;
        a = b;
        b = r;
    }
    entry = static_cast<std::uint16_t>(a);
    gcd_cache[mirrored] = entry;
    return a;
}

/// a % b; operands of 32 bits take the shorter division.
unsigned long rem_words(unsigned long a, unsigned long b)
{
    if (((a | b) >> 32) == 0)
        return static_cast<std::uint32_t>(a) % static_cast<std::uint32_t>(b);
    return a % b;
}

/// gcd of two values that are not 0.
unsigned long gcd_words(unsigned long a, unsigned long b)
{
    if (a == 1 || b == 1)
        return 1;
    // One division brings operands of different size together; the binary method then needs no
    // division until both index the table.
    if (((a | b) >> GCD_CACHE_BITS) == 0)
        return gcd_small(a, b);
    if (a < b)
        std::swap(a, b);
    a = rem_words(a, b);
    if (a == 0)
        return b;
    const int twos = std::countr_zero(a | b);
    a >>= std::countr_zero(a);
    b >>= std::countr_zero(b);
    while (((a | b) >> GCD_CACHE_BITS) != 0) {
        // The difference has as many final zeros as its absolute value, and is there earlier.
        const unsigned long diff = a - b;
        const int zeros = std::countr_zero(diff);
        if (diff == 0)
            return a << twos;
        const bool less = a < b;
        b = less ? a : b;
        a = (less ? -diff : diff) >> zeros;
    }
    return gcd_small(a, b) << twos;
}

/// Exact or truncating quotient of non-negative `b`; operands of 32 bits take the shorter division.
long div_words(long a, long b)
{
    const unsigned long ua = magnitude(a);
    const unsigned long ub = static_cast<unsigned long>(b);
    if (((ua | ub) >> 32) == 0) {
        const long q =
            static_cast<long>(static_cast<std::uint32_t>(ua) / static_cast<std::uint32_t>(ub));
        return a < 0 ? -q : q;
    }
    return a / b;
}

bool mul_fits(long a, long b, long& r)
{
    return !__builtin_mul_overflow(a, b, &r) && r != std::numeric_limits<long>::min();
}

bool add_fits(long a, long b, long& r)
{
    return !__builtin_add_overflow(a, b, &r) && r != std::numeric_limits<long>::min();
}

} // namespace

long gcd(long a, long b)
{
    TARQ_ASSERT(a != std::numeric_limits<long>::min() && b != std::numeric_limits<long>::min());
    const unsigned long ua = magnitude(a);
    const unsigned long ub = magnitude(b);
    if (ua == 0 || ub == 0)
        return static_cast<long>(ua | ub);
    return static_cast<long>(gcd_words(ua, ub));
}

/// n1/d1 := n1/d1 +- n2/d2, reduced. Gives false and changes nothing if a word overflows on the
/// way.
bool QNumber::add_words(long& n1, long& d1, long n2, long d2, bool subtract)
{
    if (subtract)
        n2 = -n2;
    long n;
    long m;
    if (d2 == 1) {
        // A common divisor of n1 + n2*d1 and d1 would divide n1, too.
        return mul_fits(n2, d1, m) && add_fits(n1, m, n) && (n1 = n, true);
    }
    if (d1 == 1) {
        if (!mul_fits(n1, d2, m) || !add_fits(m, n2, n))
            return false;
        n1 = n;
        d1 = d2;
        return true;
    }
    long g = d1;
    long d1_rest = 1;
    long d2_rest = 1;
    if (d1 != d2) {
        g = static_cast<long>(
            gcd_words(static_cast<unsigned long>(d1), static_cast<unsigned long>(d2)));
        if (g == 1) {
            long d;
            if (!mul_fits(n1, d2, n) || !mul_fits(n2, d1, m) || !add_fits(n, m, n) ||
                !mul_fits(d1, d2, d))
                return false;
            n1 = n;
            d1 = d;
            return true;
        }
        d1_rest = div_words(d1, g);
        d2_rest = div_words(d2, g);
    }
    if (!mul_fits(n1, d2_rest, n) || !mul_fits(n2, d1_rest, m) || !add_fits(n, m, n))
        return false;
    if (n == 0) {
        n1 = 0;
        d1 = 1;
        return true;
    }
    // The sum is coprime to both rests, so only g can share a divisor with it.
    const long g2 = static_cast<long>(gcd_words(magnitude(n), static_cast<unsigned long>(g)));
    long d;
    if (g2 == 1) {
        if (!mul_fits(d1_rest, d2, d))
            return false;
    } else {
        if (!mul_fits(d1_rest, div_words(d2, g2), d))
            return false;
        n = div_words(n, g2);
    }
    n1 = n;
    d1 = d;
    return true;
}

/// n1/d1 := n1/d1 * n2/d2, reduced. Gives false and changes nothing if a word overflows.
bool QNumber::mul_words(long& n1, long& d1, long n2, long d2)
{
    if (n1 == 0 || n2 == 0) {
        n1 = 0;
        d1 = 1;
        return true;
    }
    const long g1 = static_cast<long>(gcd_words(magnitude(n1), static_cast<unsigned long>(d2)));
    const long g2 = static_cast<long>(gcd_words(magnitude(n2), static_cast<unsigned long>(d1)));
    const long a = g1 == 1 ? n1 : div_words(n1, g1);
    const long b = g2 == 1 ? n2 : div_words(n2, g2);
    const long c = g2 == 1 ? d1 : div_words(d1, g2);
    const long e = g1 == 1 ? d2 : div_words(d2, g1);
    long n;
    long d;
    if (!mul_fits(a, b, n) || !mul_fits(c, e, d))
        return false;
    n1 = n;
    d1 = d;
    return true;
}

void QNumber::add_slow(const QNumber& o, bool subtract)
{
    if (den_ != 0 && o.den_ != 0) {
        if (add_words(num_, den_, o.num_, o.den_, subtract))
            return;
        const Parts parts(o);
        promote();
        add_big(parts, subtract);
        make_small(); // An intermediate product may have overflowed where the result does not.
        return;
    }
    if (o.num_ == 0)
        return;
    if (num_ == 0) {
        *this = o;
        if (subtract)
            self_neg();
        return;
    }
    if (this == &o) {
        const QNumber copy(o);
        add_slow(copy, subtract);
        return;
    }
    promote();
    add_big(Parts(o), subtract);
    if (mpz_sgn(big_->num) == 0)
        set_zero();
}

void QNumber::add_big(const Parts& o, bool subtract)
{
    const auto combine = subtract ? mpz_sub : mpz_add;
    mpz_ptr n1 = big_->num;
    mpz_ptr d1 = big_->den;
    const bool int1 = mpz_cmp_ui(d1, 1) == 0;
    if (o.is_int()) {
        if (int1)
            combine(n1, n1, o.num());
        else if (subtract)
            mpz_submul(n1, d1, o.num());
        else
            mpz_addmul(n1, d1, o.num());
        return;
    }
    if (int1) {
        mpz_mul(n1, n1, o.den());
        combine(n1, n1, o.num());
        mpz_set(d1, o.den());
        return;
    }
    auto& t = gmp_tmp().t;
    mpz_gcd(t[0], d1, o.den());
    if (mpz_cmp_ui(t[0], 1) == 0) {
        mpz_mul(n1, n1, o.den());
        mpz_mul(t[1], o.num(), d1);
        combine(n1, n1, t[1]);
        mpz_mul(d1, d1, o.den());
        return;
    }
    mpz_divexact(t[1], o.den(), t[0]);
    mpz_mul(n1, n1, t[1]);
    mpz_divexact(d1, d1, t[0]);
    mpz_mul(t[1], o.num(), d1);
    combine(n1, n1, t[1]);
    mpz_gcd(t[1], n1, t[0]);
    if (mpz_cmp_ui(t[1], 1) == 0) {
        mpz_mul(d1, d1, o.den());
        return;
    }
    mpz_divexact(n1, n1, t[1]);
    mpz_divexact(t[2], o.den(), t[1]);
    mpz_mul(d1, d1, t[2]);
}

void QNumber::mul_slow(const QNumber& o)
{
    if (den_ != 0 && o.den_ != 0) {
        if (mul_words(num_, den_, o.num_, o.den_))
            return;
        const Parts parts(o);
        promote();
        mul_big(parts);
        return;
    }
    if (num_ == 0)
        return;
    if (o.num_ == 0) {
        set_zero();
        return;
    }
    if (this == &o) {
        // A power of a reduced fraction is reduced.
        mpz_mul(big_->num, big_->num, big_->num);
        mpz_mul(big_->den, big_->den, big_->den);
        return;
    }
    promote();
    mul_big(Parts(o));
}

void QNumber::mul_big(const Parts& o)
{
    mpz_ptr n1 = big_->num;
    mpz_ptr d1 = big_->den;
    auto& t = gmp_tmp().t;
    mpz_srcptr n2 = o.num();
    mpz_srcptr d2 = o.den();
    if (mpz_cmp_ui(d2, 1) != 0) {
        mpz_gcd(t[0], n1, d2);
        if (mpz_cmp_ui(t[0], 1) != 0) {
            mpz_divexact(n1, n1, t[0]);
            mpz_divexact(t[1], d2, t[0]);
            d2 = t[1];
        }
    }
    if (mpz_cmp_ui(d1, 1) != 0) {
        mpz_gcd(t[0], n2, d1);
        if (mpz_cmp_ui(t[0], 1) != 0) {
            mpz_divexact(d1, d1, t[0]);
            mpz_divexact(t[2], n2, t[0]);
            n2 = t[2];
        }
    }
    mpz_mul(n1, n1, n2);
    if (mpz_cmp_ui(d2, 1) != 0)
        mpz_mul(d1, d1, d2);
}

QNumber& QNumber::operator/=(const QNumber& o)
{
    TARQ_ASSERT(!o.is_zero());
    if (den_ != 0 && o.den_ != 0) {
        const long n = o.num_ < 0 ? -o.den_ : o.den_;
        const long d = o.num_ < 0 ? -o.num_ : o.num_;
        if (mul_words(num_, den_, n, d))
            return *this;
    } else if (this == &o) {
        return *this = 1L;
    }
    if (num_ == 0)
        return *this;
    const Parts inverse(o, true);
    promote();
    mul_big(inverse);
    return *this;
}

QNumber QNumber::inv() const
{
    TARQ_ASSERT(num_ != 0);
    if (den_ != 0)
        return num_ < 0 ? small(-den_, -num_) : small(den_, num_);
    QNumber r(*this);
    mpz_swap(r.big_->num, r.big_->den);
    if (mpz_sgn(r.big_->den) < 0) {
        mpz_neg(r.big_->num, r.big_->num);
        mpz_neg(r.big_->den, r.big_->den);
    }
    return r;
}

QNumber QNumber::floor() const
{
    if (is_int())
        return *this;
    if (den_ != 0)
        return small(num_ / den_ - (num_ < 0), 1);
    QNumber r;
    mpz_ptr t = gmp_tmp().t[0];
    mpz_fdiv_q(t, big_->num, big_->den);
    r.assign_integer(t);
    return r;
}

QNumber QNumber::ceil() const
{
    if (is_int())
        return *this;
    QNumber r = floor();
    r += 1L;
    return r;
}

void QNumber::divmod(const QNumber& divisor, QNumber* quotient, QNumber* remainder) const
{
    TARQ_ASSERT(is_int() && divisor.is_int() && !divisor.is_zero());
    if (den_ != 0 && divisor.den_ != 0) {
        const long d = divisor.num_;
        long q = num_ / d;
        long r = num_ % d;
        if (r != 0 && (r < 0) != (d < 0)) {
            --q;
            r += d;
        }
        if (quotient)
            *quotient = q;
        if (remainder)
            *remainder = r;
        return;
    }
    auto& t = gmp_tmp().t;
    mpz_fdiv_qr(t[0], t[1], Parts(*this).num(), Parts(divisor).num());
    if (quotient)
        quotient->assign_integer(t[0]);
    if (remainder)
        remainder->assign_integer(t[1]);
}

QNumber gcd(const QNumber& a, const QNumber& b)
{
    TARQ_ASSERT(a.is_int() && b.is_int());
    if (a.is_small() && b.is_small())
        return QNumber::small(gcd(a.num_, b.num_), 1);
    mpz_ptr t = QNumber::gmp_tmp().t[0];
    mpz_gcd(t, QNumber::Parts(a).num(), QNumber::Parts(b).num());
    QNumber r;
    r.assign_integer(t);
    return r;
}

QNumber lcm(const QNumber& a, const QNumber& b)
{
    if (a.is_zero() || b.is_zero())
        return QNumber();
    QNumber r = abs(a);
    r /= gcd(a, b);
    r *= abs(b);
    return r;
}

} // namespace tarq
