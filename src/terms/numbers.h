// Exact rationals: QNumber and its free functions. Numbers read as bit patterns of a fixed width
// are in bvnumber.h.
#pragma once

#include "base/assertion.h"
#include "base/exception.h"

#include <gmpxx.h>

#include <compare>
#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tarq {

/// The machine integers that convert to a QNumber. `bool` and the character types used for text
/// are left out, so that passing one is a compile error.
template <class T>
concept MachineInteger = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                         sizeof(T) <= sizeof(long);

/// Greatest common divisor of two machine integers; positive unless both are 0, then 0.
/// a, b  any value above the least `long`, whose absolute value has no `long`
/// Small pairs come from a table that is filled on demand, so a repeated call is one load.
long gcd(long a, long b);

/// An exact rational number in two words.
///
/// | form  | first word                                  | second word              |
/// |-------|---------------------------------------------|--------------------------|
/// | small | numerator                                   | denominator, at least 1  |
/// | big   | owned heap pair of GMP integers (num, den)  | 0                        |
///
/// Invariants:
/// 1. Numerator and denominator are coprime and the denominator is positive; zero is 0/1.
/// 2. No word of the small form is -2^63, so negation and absolute value of a small number cannot
///    overflow.
/// 3. Zero is always small. Hence the first word is 0 exactly for the value zero, in either form.
///
/// A value that fits the small form may nevertheless be big: arithmetic on a big number leaves the
/// result big, so that a computation near the limit does not allocate and free at every step.
/// `make_small` brings it back. Comparison, hash and text depend on the value only.
///
/// The small form allocates nothing and copying it moves two words. Big operations share static
/// scratch integers: they are not re-entrant and only one thread may use them at a time.
class QNumber {
public:
    /// What `from_str` throws.
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// Zero.
    constexpr QNumber() noexcept : num_(0), den_(1) {}
    /// The integer `v`; implicit, so that literals mix with numbers. The least `long` and unsigned
    /// values above the greatest `long` become big.
    template <MachineInteger T>
    QNumber(T v) : num_(static_cast<long>(v)), den_(1)
    {
        if constexpr (std::is_unsigned_v<T>) {
            if (num_ < 0) [[unlikely]]
                set_unsigned(v);
        } else if (num_ == INT_MIN_WORD) [[unlikely]] {
            fix_int_min();
        }
    }
    /// num/den, reduced. den is not 0; either sign.
    QNumber(long num, long den);
    /// num/den. With `reduce` false the caller promises that the two are coprime and den positive.
    /// den is not 0. The values are copied. Small when both fit.
    QNumber(mpz_srcptr num, mpz_srcptr den, bool reduce);
    /// An integer of any size; small when it fits.
    explicit QNumber(const mpz_class& num);
    /// num/den, reduced; den is not 0. Small when both fit.
    QNumber(const mpz_class& num, const mpz_class& den);
    /// The same value; q is canonical. Small when both parts fit.
    explicit QNumber(const mpq_class& q);

    QNumber(const QNumber& o) : num_(o.num_), den_(o.den_)
    {
        if (den_ == 0) [[unlikely]]
            copy_big(o);
    }
    QNumber(QNumber&& o) noexcept : num_(o.num_), den_(o.den_)
    {
        o.num_ = 0;
        o.den_ = 1;
    }
    ~QNumber()
    {
        if (den_ == 0) [[unlikely]]
            free_big();
    }
    QNumber& operator=(const QNumber& o)
    {
        if (den_ != 0 && o.den_ != 0) [[likely]] {
            num_ = o.num_;
            den_ = o.den_;
        } else {
            assign_slow(o);
        }
        return *this;
    }
    QNumber& operator=(QNumber&& o) noexcept
    {
        swap(o);
        return *this;
    }
    template <MachineInteger T>
    QNumber& operator=(T v)
    {
        QNumber(v).swap(*this);
        return *this;
    }
    /// Exchanges the values; two word exchanges in every case.
    void swap(QNumber& o) noexcept
    {
        std::swap(num_, o.num_);
        std::swap(den_, o.den_);
    }
    friend void swap(QNumber& a, QNumber& b) noexcept { a.swap(b); }

    // Arithmetic. Every operand may be the number itself.

    QNumber& operator+=(const QNumber& o)
    {
        long r;
        if (both_int(o) && !__builtin_add_overflow(num_, o.num_, &r) && r != INT_MIN_WORD)
            [[likely]] {
            num_ = r;
        } else {
            add_slow(o, false);
        }
        return *this;
    }
    QNumber& operator-=(const QNumber& o)
    {
        long r;
        if (both_int(o) && !__builtin_sub_overflow(num_, o.num_, &r) && r != INT_MIN_WORD)
            [[likely]] {
            num_ = r;
        } else {
            add_slow(o, true);
        }
        return *this;
    }
    QNumber& operator*=(const QNumber& o)
    {
        long r;
        if (both_int(o) && !__builtin_mul_overflow(num_, o.num_, &r) && r != INT_MIN_WORD)
            [[likely]] {
            num_ = r;
        } else {
            mul_slow(o);
        }
        return *this;
    }
    /// Divides by `o`, which is not 0 (asserted).
    QNumber& operator/=(const QNumber& o);
    template <MachineInteger T>
    QNumber& operator+=(T v)
    {
        return *this += QNumber(v);
    }
    template <MachineInteger T>
    QNumber& operator-=(T v)
    {
        return *this -= QNumber(v);
    }

    friend QNumber operator+(const QNumber& a, const QNumber& b)
    {
        QNumber r(a);
        r += b;
        return r;
    }
    friend QNumber operator-(const QNumber& a, const QNumber& b)
    {
        QNumber r(a);
        r -= b;
        return r;
    }
    friend QNumber operator*(const QNumber& a, const QNumber& b)
    {
        QNumber r(a);
        r *= b;
        return r;
    }
    friend QNumber operator/(const QNumber& a, const QNumber& b)
    {
        QNumber r(a);
        r /= b;
        return r;
    }
    QNumber operator-() const { return neg(); }

    /// The number with the opposite sign; a big number stays big.
    QNumber neg() const
    {
        QNumber r(*this);
        r.self_neg();
        return r;
    }
    void self_neg()
    {
        if (den_ != 0) [[likely]]
            num_ = -num_;
        else
            mpz_neg(big_->num, big_->num);
    }
    /// 1/x; the number is not 0 (asserted).
    QNumber inv() const;
    /// The greatest integer not above the number.
    QNumber floor() const;
    /// The least integer not below the number.
    QNumber ceil() const;
    /// Floor division of integers: *quotient = floor(this / divisor) and
    /// *remainder = this - divisor * *quotient, so 0 <= *remainder < divisor for a positive divisor
    /// and divisor < *remainder <= 0 for a negative one.
    /// divisor    an integer other than 0
    /// quotient, remainder  either may be null, and may be this number or the divisor; not the same
    void divmod(const QNumber& divisor, QNumber* quotient, QNumber* remainder) const;

    // Queries.

    bool is_small() const { return den_ != 0; }
    bool is_zero() const { return num_ == 0; }
    bool is_one() const { return *this == 1L; }
    bool is_int() const { return den_ == 1 || (den_ == 0 && mpz_cmp_ui(big_->den, 1) == 0); }
    bool is_neg() const { return sign() < 0; }
    bool is_pos() const { return sign() > 0; }
    /// -1, 0 or 1.
    int sign() const { return den_ != 0 ? (num_ > 0) - (num_ < 0) : mpz_sgn(big_->num); }
    QNumber get_num() const;
    QNumber get_den() const;
    /// Stores the value and gives true if it is an integer of the type's range; else gives false
    /// and leaves `*out` alone.
    bool to_int(long* out) const;
    bool to_int(int* out) const;
    mpq_class to_mpq() const;
    /// The numerator as a GMP integer.
    mpz_class num_to_mpz() const;
    /// The denominator as a GMP integer.
    mpz_class den_to_mpz() const;
    /// Equal values have equal hashes, whatever their form.
    std::size_t hash() const { return den_ != 0 ? hash_words(num_, den_) : hash_big(); }

    friend bool operator==(const QNumber& a, const QNumber& b)
    {
        if (a.den_ != 0 && b.den_ != 0) [[likely]]
            return a.num_ == b.num_ && a.den_ == b.den_;
        return equal_slow(a, b);
    }
    template <MachineInteger T>
    friend bool operator==(const QNumber& a, T b)
    {
        return a == QNumber(b);
    }
    friend bool operator<(const QNumber& a, const QNumber& b)
    {
        if (a.den_ == b.den_ && a.den_ != 0) [[likely]]
            return a.num_ < b.num_;
        return compare_slow(a, b) < 0;
    }
    friend bool operator>(const QNumber& a, const QNumber& b) { return b < a; }
    friend bool operator<=(const QNumber& a, const QNumber& b) { return !(b < a); }
    friend bool operator>=(const QNumber& a, const QNumber& b) { return !(a < b); }
    /// Negative, 0 or positive as the number is below, equal to or above `o`.
    int compare(const QNumber& o) const { return compare_slow(*this, o); }
    /// Compares absolute values; result as for `compare`.
    int compare_abs(const QNumber& o) const;

    // Text.

    /// Decimal digits of the numerator, then "/" and those of the denominator unless it is 1.
    std::string to_str() const;
    /// A decimal floating-point text of `precision` significant digits, as a stream would print it.
    std::string to_float_str(int precision) const;
    /// Reads `-?D+`, `-?D+/-?D+`, or a decimal `-?D*.?D*` with at least one digit and an optional
    /// exponent `[eE][+-]?D+`, where D is a decimal digit. The empty text and "-" give 0.
    /// s       may be null, which is an error like any other text outside that grammar
    /// throws  error "invalid argument to Number::from_str: " and the text (its start, if it is
    ///         very long) for anything else, a zero denominator, or an exponent whose absolute
    ///         value is above `MAX_EXPONENT`
    /// Subquadratic in the length.
    static QNumber from_str(const char* s);
    static QNumber from_str(const std::string& s);

    /// Largest absolute decimal exponent that `from_str` takes.
    static constexpr long MAX_EXPONENT = 1000000;

    // Form and parts, for code that works on the representation.

    /// Moves to the big form, except for zero; no effect on a big number.
    void make_big();
    /// Moves to the small form if both parts fit; no effect otherwise. Gives `is_small()`.
    bool make_small();
    /// The numerator of a small number.
    long small_num() const
    {
        TARQ_ASSERT(den_ != 0);
        return num_;
    }
    /// The denominator of a small number.
    long small_den() const
    {
        TARQ_ASSERT(den_ != 0);
        return den_;
    }

    friend QNumber abs(const QNumber& x)
    {
        QNumber r(x);
        if (r.is_neg())
            r.self_neg();
        return r;
    }
    /// Greatest common divisor of two integers, never negative; gcd(0, 0) is 0.
    friend QNumber gcd(const QNumber& a, const QNumber& b);
    /// Least common multiple of two integers, never negative; 0 if one of them is.
    friend QNumber lcm(const QNumber& a, const QNumber& b);

private:
    friend class BVNumber;

    static constexpr long INT_MIN_WORD = std::numeric_limits<long>::min();

    struct Big {
        mpz_t num;
        mpz_t den;
    };
    struct GmpTemporaries;
    struct BigPool;
    class Parts;

    /// A small number from words that satisfy the invariants.
    static QNumber small(long num, long den)
    {
        QNumber r;
        r.num_ = num;
        r.den_ = den;
        return r;
    }
    bool both_int(const QNumber& o) const { return ((den_ ^ 1) | (o.den_ ^ 1)) == 0; }
    static std::size_t hash_words(long num, long den)
    {
        const std::size_t n = static_cast<std::size_t>(num);
        return ((n << 32) | (n >> 32)) + 2 * static_cast<std::size_t>(den);
    }

    static BigPool big_pool;

    static GmpTemporaries& gmp_tmp();
    static Big* new_big();
    static QNumber from_text(std::string_view s);
    static bool equal_slow(const QNumber& a, const QNumber& b);
    static int compare_slow(const QNumber& a, const QNumber& b);
    static bool add_words(long& n1, long& d1, long n2, long d2, bool subtract);
    static bool mul_words(long& n1, long& d1, long n2, long d2);
    void set_zero();

    void fix_int_min();
    void set_unsigned(unsigned long v);
    void normalize();
    void copy_big(const QNumber& o);
    void free_big() noexcept;
    void assign_slow(const QNumber& o);
    void add_slow(const QNumber& o, bool subtract);
    void add_big(const Parts& o, bool subtract);
    void mul_slow(const QNumber& o);
    void mul_big(const Parts& o);
    void assign_integer(mpz_ptr z);
    void assign_big(mpz_srcptr num, mpz_srcptr den);
    void promote();
    std::size_t hash_big() const;

    union {
        long num_;
        Big* big_;
    };
    long den_;
};

static_assert(sizeof(QNumber) == 2 * sizeof(long) && sizeof(long) == 8);

QNumber gcd(const QNumber& a, const QNumber& b);
QNumber lcm(const QNumber& a, const QNumber& b);

/// Prints `x.to_str()`.
std::ostream& operator<<(std::ostream& out, const QNumber& x);

} // namespace tarq
