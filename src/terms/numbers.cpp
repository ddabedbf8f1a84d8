// The slow paths of QNumber: fractions, overflow, big operands, text.
#include "terms/numbers.h"

#include "terms/numberparts.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <sstream>

namespace tarq {

namespace {

__extension__ using int128 = __int128;

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

bool fits_word(mpz_srcptr z)
{
    return mpz_size(z) <= 1 &&
           mpz_getlimbn(z, 0) <= static_cast<mp_limb_t>(std::numeric_limits<long>::max());
}

} // namespace

/// Pairs given back by numbers that died or became small, with their limbs: a big result of an
/// expression then costs no allocation. Trivially constructed, so it serves numbers of static
/// lifetime, too; once cleared at exit it keeps nothing more.
struct QNumber::BigPool {
    static constexpr unsigned CAPACITY = 256;
    static constexpr int MAX_LIMBS = 16; ///< longer integers are not kept

    Big* items[CAPACITY];
    unsigned size;
    bool closed;

    static void destroy(Big* b)
    {
        mpz_clear(b->num);
        mpz_clear(b->den);
        delete b;
    }
    struct Cleaner {
        BigPool& pool;
        ~Cleaner()
        {
            pool.closed = true;
            while (pool.size > 0)
                destroy(pool.items[--pool.size]);
        }
    };
};

constinit QNumber::BigPool QNumber::big_pool{};

QNumber::Big* QNumber::new_big()
{
    if (big_pool.size > 0) [[likely]]
        return big_pool.items[--big_pool.size];
    static const BigPool::Cleaner cleaner{big_pool};
    Big* b = new Big;
    mpz_init(b->num);
    mpz_init(b->den);
    return b;
}

void QNumber::free_big() noexcept
{
    if (big_pool.size < BigPool::CAPACITY && !big_pool.closed &&
        big_->num->_mp_alloc <= BigPool::MAX_LIMBS && big_->den->_mp_alloc <= BigPool::MAX_LIMBS)
        [[likely]]
        big_pool.items[big_pool.size++] = big_;
    else
        BigPool::destroy(big_);
}

long gcd(long a, long b)
{
    TARQ_ASSERT(a != std::numeric_limits<long>::min() && b != std::numeric_limits<long>::min());
    const unsigned long ua = magnitude(a);
    const unsigned long ub = magnitude(b);
    if (ua == 0 || ub == 0)
        return static_cast<long>(ua | ub);
    return static_cast<long>(gcd_words(ua, ub));
}

// Not a plain static object: a number made while other statics are being initialised may need it.
QNumber::GmpTemporaries& QNumber::gmp_tmp()
{
    static GmpTemporaries temporaries;
    return temporaries;
}

QNumber::QNumber(long num, long den) : num_(num), den_(den)
{
    TARQ_ASSERT(den != 0);
    if (num == INT_MIN_WORD || den == INT_MIN_WORD) [[unlikely]]
        fix_int_min();
    normalize();
}

QNumber::QNumber(mpz_srcptr num, mpz_srcptr den, bool reduce) : QNumber()
{
    TARQ_ASSERT(mpz_sgn(den) != 0);
    if (mpz_sgn(num) == 0)
        return;
    assign_big(num, den);
    if (reduce)
        normalize();
    make_small();
}

QNumber::QNumber(const mpz_class& num) : QNumber()
{
    if (fits_word(num.get_mpz_t())) {
        num_ = mpz_get_si(num.get_mpz_t());
    } else {
        const mpz_class one(1);
        assign_big(num.get_mpz_t(), one.get_mpz_t());
    }
}

QNumber::QNumber(const mpz_class& num, const mpz_class& den)
    : QNumber(num.get_mpz_t(), den.get_mpz_t(), true)
{
}

QNumber::QNumber(const mpq_class& q) : QNumber(q.get_num_mpz_t(), q.get_den_mpz_t(), false) {}

// A word of -2^63 is legal here, for one moment: the constructors leave it to this function.
void QNumber::fix_int_min()
{
    const long num = num_;
    const long den = den_;
    big_ = new_big();
    mpz_set_si(big_->num, num);
    mpz_set_si(big_->den, den);
    den_ = 0;
}

void QNumber::set_unsigned(unsigned long v)
{
    big_ = new_big();
    mpz_set_ui(big_->num, v);
    mpz_set_ui(big_->den, 1);
    den_ = 0;
}

void QNumber::normalize()
{
    if (den_ != 0) {
        const long g = gcd(num_, den_);
        num_ /= g;
        den_ /= g;
        if (den_ < 0) {
            num_ = -num_;
            den_ = -den_;
        }
        return;
    }
    if (mpz_sgn(big_->num) == 0) {
        set_zero();
        return;
    }
    mpz_ptr g = gmp_tmp().t[0];
    mpz_gcd(g, big_->num, big_->den);
    if (mpz_cmp_ui(g, 1) != 0) {
        mpz_divexact(big_->num, big_->num, g);
        mpz_divexact(big_->den, big_->den, g);
    }
    if (mpz_sgn(big_->den) < 0) {
        mpz_neg(big_->num, big_->num);
        mpz_neg(big_->den, big_->den);
    }
    make_small();
}

void QNumber::copy_big(const QNumber& o)
{
    big_ = new_big();
    mpz_set(big_->num, o.big_->num);
    mpz_set(big_->den, o.big_->den);
}

void QNumber::set_zero()
{
    if (den_ == 0)
        free_big();
    num_ = 0;
    den_ = 1;
}

void QNumber::assign_slow(const QNumber& o)
{
    if (this == &o)
        return;
    if (o.den_ != 0) {
        if (den_ == 0)
            free_big();
        num_ = o.num_;
        den_ = o.den_;
    } else {
        assign_big(o.big_->num, o.big_->den);
    }
}

void QNumber::assign_big(mpz_srcptr num, mpz_srcptr den)
{
    if (den_ == 0) {
        mpz_set(big_->num, num);
        mpz_set(big_->den, den);
        return;
    }
    big_ = new_big();
    mpz_set(big_->num, num);
    mpz_set(big_->den, den);
    den_ = 0;
}

/// Takes the value of `z` by exchange, as an integer; small when it fits.
void QNumber::assign_integer(mpz_ptr z)
{
    if (fits_word(z)) {
        const long v = mpz_get_si(z);
        if (den_ == 0)
            free_big();
        num_ = v;
        den_ = 1;
        return;
    }
    if (den_ != 0) {
        num_ = 1;
        den_ = 1;
        promote();
    }
    mpz_swap(big_->num, z);
    mpz_set_ui(big_->den, 1);
}

/// To the big form, whatever the value: a zero must not stay so.
void QNumber::promote()
{
    if (den_ != 0)
        fix_int_min();
}

void QNumber::make_big()
{
    if (num_ != 0)
        promote();
}

bool QNumber::make_small()
{
    if (den_ != 0)
        return true;
    if (!fits_word(big_->num) || !fits_word(big_->den))
        return false;
    const long num = mpz_get_si(big_->num);
    const long den = mpz_get_si(big_->den);
    free_big();
    num_ = num;
    den_ = num == 0 ? 1 : den;
    return true;
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

QNumber QNumber::get_num() const
{
    if (den_ != 0)
        return small(num_, 1);
    QNumber r;
    mpz_set(gmp_tmp().t[0], big_->num);
    r.assign_integer(gmp_tmp().t[0]);
    return r;
}

QNumber QNumber::get_den() const
{
    if (den_ != 0)
        return small(den_, 1);
    QNumber r;
    mpz_set(gmp_tmp().t[0], big_->den);
    r.assign_integer(gmp_tmp().t[0]);
    return r;
}

bool QNumber::to_int(long* out) const
{
    if (den_ != 0) {
        if (den_ != 1)
            return false;
        *out = num_;
        return true;
    }
    // Unlike a word of the small form, a `long` may be -2^63.
    if (!is_int() || !mpz_fits_slong_p(big_->num))
        return false;
    *out = mpz_get_si(big_->num);
    return true;
}

bool QNumber::to_int(int* out) const
{
    long v;
    if (!to_int(&v) || v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max())
        return false;
    *out = static_cast<int>(v);
    return true;
}

mpz_class QNumber::num_to_mpz() const
{
    return mpz_class(Parts(*this).num());
}

mpz_class QNumber::den_to_mpz() const
{
    return mpz_class(Parts(*this).den());
}

mpq_class QNumber::to_mpq() const
{
    mpq_class q;
    const Parts p(*this);
    mpz_set(q.get_num_mpz_t(), p.num());
    mpz_set(q.get_den_mpz_t(), p.den());
    return q;
}

std::size_t QNumber::hash_big() const
{
    if (fits_word(big_->num) && fits_word(big_->den))
        return hash_words(mpz_get_si(big_->num), mpz_get_si(big_->den));
    std::size_t h = 0;
    for (mpz_srcptr z : {big_->num, big_->den}) {
        const std::size_t n = mpz_size(z);
        const mp_limb_t* limbs = mpz_limbs_read(z);
        for (std::size_t i = 0; i < n; ++i)
            h ^= (h << 6) + (h >> 2) + limbs[i];
    }
    return h;
}

bool QNumber::equal_slow(const QNumber& a, const QNumber& b)
{
    const Parts pa(a);
    const Parts pb(b);
    return mpz_cmp(pa.num(), pb.num()) == 0 && mpz_cmp(pa.den(), pb.den()) == 0;
}

int QNumber::compare_slow(const QNumber& a, const QNumber& b)
{
    if (a.den_ != 0 && b.den_ != 0) {
        // Products of two words that are not -2^63 stay inside 128 bits.
        const int128 x = int128(a.num_) * b.den_;
        const int128 y = int128(b.num_) * a.den_;
        return (x > y) - (x < y);
    }
    const int sign_a = a.sign();
    const int sign_b = b.sign();
    if (sign_a != sign_b)
        return sign_a - sign_b;
    if (a.den_ == 0 && b.den_ == 0 && mpz_cmp(a.big_->den, b.big_->den) == 0)
        return mpz_cmp(a.big_->num, b.big_->num);
    const Parts pa(a);
    const Parts pb(b);
    if (mpz_cmp(pa.den(), pb.den()) == 0)
        return mpz_cmp(pa.num(), pb.num());
    auto& t = gmp_tmp().t;
    mpz_mul(t[0], pa.num(), pb.den());
    mpz_mul(t[1], pb.num(), pa.den());
    return mpz_cmp(t[0], t[1]);
}

int QNumber::compare_abs(const QNumber& o) const
{
    if (is_neg() == o.is_neg())
        return is_neg() ? compare_slow(o, *this) : compare_slow(*this, o);
    return is_neg() ? compare_slow(neg(), o) : compare_slow(*this, o.neg());
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

std::string QNumber::to_str() const
{
    if (den_ != 0) {
        std::string text = std::to_string(num_);
        if (den_ != 1) {
            text += '/';
            text += std::to_string(den_);
        }
        return text;
    }
    // GMP writes up to two characters more than `mpz_sizeinbase` tells: the sign and the final NUL.
    std::string text(mpz_sizeinbase(big_->num, 10) + 2, '\0');
    mpz_get_str(text.data(), 10, big_->num);
    text.resize(std::strlen(text.c_str()));
    if (!is_int()) {
        text += '/';
        const std::size_t start = text.size();
        text.resize(start + mpz_sizeinbase(big_->den, 10) + 2);
        mpz_get_str(text.data() + start, 10, big_->den);
        text.resize(start + std::strlen(text.c_str() + start));
    }
    return text;
}

std::string QNumber::to_float_str(int precision) const
{
    mpf_class f;
    mpf_set_q(f.get_mpf_t(), to_mpq().get_mpq_t());
    std::ostringstream out;
    out.precision(precision);
    out << f;
    return out.str();
}

std::ostream& operator<<(std::ostream& out, const QNumber& x)
{
    return out << x.to_str();
}

namespace {

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

std::size_t skip_digits(std::string_view s, std::size_t i)
{
    while (i < s.size() && is_digit(s[i]))
        ++i;
    return i;
}

[[noreturn]] void bad_text(std::string_view s, const char* reason = "")
{
    constexpr std::size_t SHOWN = 200;
    std::string msg = "invalid argument to Number::from_str: ";
    msg += s.substr(0, SHOWN);
    if (s.size() > SHOWN)
        msg += "...";
    msg += reason;
    throw QNumber::error(std::move(msg));
}

/// The value of a run of digits; GMP's conversion is subquadratic.
void set_digits(mpz_class& z, const std::string& digits)
{
    mpz_set_str(z.get_mpz_t(), digits.c_str(), 10);
}

/// The exponent of a decimal from `s[i]` to the end: an optional sign and digits.
long read_exponent(std::string_view s, std::size_t i)
{
    const bool negative = i < s.size() && s[i] == '-';
    if (i < s.size() && (s[i] == '-' || s[i] == '+'))
        ++i;
    if (i == s.size() || skip_digits(s, i) != s.size())
        bad_text(s);
    long e = 0;
    for (; i < s.size(); ++i) {
        e = e * 10 + (s[i] - '0');
        if (e > QNumber::MAX_EXPONENT)
            bad_text(s, " (exponent out of range)");
    }
    return negative ? -e : e;
}

/// n * 10^exponent. For a negative exponent the only common divisors are powers of 2 and 5, which
/// are found without the gcd of two long numbers.
QNumber scale_decimal(mpz_class n, long exponent)
{
    const unsigned long k = magnitude(exponent);
    mpz_class den(1);
    if (n == 0)
        return QNumber();
    mpz_class power;
    if (exponent >= 0) {
        mpz_ui_pow_ui(power.get_mpz_t(), 10, k);
        n *= power;
        return QNumber(n);
    }
    const unsigned long twos = std::min(mpz_scan1(n.get_mpz_t(), 0), k);
    mpz_tdiv_q_2exp(n.get_mpz_t(), n.get_mpz_t(), twos);
    unsigned long fives = 0;
    if (mpz_divisible_ui_p(n.get_mpz_t(), 5)) {
        const mpz_class five(5);
        fives = mpz_remove(n.get_mpz_t(), n.get_mpz_t(), five.get_mpz_t());
        if (fives > k) {
            mpz_ui_pow_ui(power.get_mpz_t(), 5, fives - k);
            n *= power;
            fives = k;
        }
    }
    mpz_ui_pow_ui(den.get_mpz_t(), 5, k - fives);
    mpz_mul_2exp(den.get_mpz_t(), den.get_mpz_t(), k - twos);
    return QNumber(n.get_mpz_t(), den.get_mpz_t(), false);
}

} // namespace

QNumber QNumber::from_text(std::string_view s)
{
    constexpr std::size_t WORD_DIGITS = 18; // Each number of so many digits is in the small form.
    const bool negative = !s.empty() && s[0] == '-';
    const std::size_t first = negative;
    const std::size_t int_end = skip_digits(s, first);
    if (int_end == s.size() && int_end - first <= WORD_DIGITS) {
        long v = 0;
        for (std::size_t i = first; i < int_end; ++i)
            v = v * 10 + (s[i] - '0');
        return small(negative ? -v : v, 1);
    }

    std::string digits(s.substr(first, int_end - first));
    mpz_class num;
    if (int_end == s.size()) {
        set_digits(num, digits);
        if (negative)
            num = -num;
        return QNumber(num);
    }
    if (s[int_end] == '/') {
        std::size_t i = int_end + 1;
        const bool den_negative = i < s.size() && s[i] == '-';
        i += den_negative;
        if (digits.empty() || i == s.size() || skip_digits(s, i) != s.size())
            bad_text(s);
        mpz_class den;
        set_digits(den, std::string(s.substr(i)));
        if (den == 0)
            bad_text(s, " (zero denominator)");
        set_digits(num, digits);
        if (negative != den_negative)
            num = -num;
        return QNumber(num, den);
    }

    std::size_t i = int_end;
    long exponent = 0;
    bool any_digit = !digits.empty();
    if (s[i] == '.') {
        const std::size_t start = i + 1;
        i = skip_digits(s, start);
        any_digit = any_digit || i > start;
        std::size_t end = i;
        while (end > start && s[end - 1] == '0')
            --end;
        digits += s.substr(start, end - start);
        exponent = -static_cast<long>(end - start);
    }
    if (!any_digit)
        bad_text(s);
    if (i < s.size()) {
        if (s[i] != 'e' && s[i] != 'E')
            bad_text(s);
        exponent += read_exponent(s, i + 1);
    }
    if (digits.empty())
        return QNumber();
    set_digits(num, digits);
    if (negative)
        num = -num;
    return scale_decimal(std::move(num), exponent);
}

QNumber QNumber::from_str(const char* s)
{
    if (s == nullptr)
        bad_text("(null pointer)");
    return from_text(s);
}

QNumber QNumber::from_str(const std::string& s)
{
    return from_text(s);
}

} // namespace tarq
