// QNumber: construction, change between the two forms, parts, hash and order. The arithmetic is in
// numbers_arith.cpp, the texts are in numbers_text.cpp.
#include "terms/numbers.h"

#include "terms/numberparts.h"

namespace tarq {

namespace {

__extension__ using int128 = __int128;

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
    static constexpr unsigned CAPACITY = 4096;
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

} // namespace tarq
