// DNumber: a rational with an infinitesimal part, or an infinity; the values and bounds of the
// simplex.
#pragma once

#include "terms/numbers.h"

#include <string>

namespace tarq::la {

/// Gives a number its small form back, if it has one, after operations that leave a result big: in
/// the simplex big factors cancel, and what is left would be slow for good.
inline void shrink(QNumber& q)
{
    if (!q.is_small()) [[unlikely]] {
        q.make_small();
    }
}

/// real + delta * d for an arbitrarily small positive d, or one of two infinities.
///
/// Both parts stand inline, so that a small value needs no memory of its own and an array of values
/// is walked without indirection. In an infinity both parts are 0.
class DNumber {
public:
    /// Zero.
    constexpr DNumber() noexcept = default;
    DNumber(QNumber real, QNumber delta) : real_(std::move(real)), delta_(std::move(delta)) {}
    explicit DNumber(QNumber real) : real_(std::move(real)) {}

    static const DNumber zero;
    static const DNumber minus_inf;
    static const DNumber plus_inf;

    const QNumber& real() const { return real_; }
    const QNumber& delta() const { return delta_; }
    bool is_inf() const { return inf_ != 0; }
    /// Whether it is a finite whole number.
    bool is_int() const { return inf_ == 0 && delta_.is_zero() && real_.is_int(); }

    // Sums. If an operand is infinite the result is that infinity, the left one if both are.

    DNumber& operator+=(const DNumber& o)
    {
        if ((inf_ | o.inf_) != 0) [[unlikely]] {
            add_infinity(o);
            return *this;
        }
        real_ += o.real_;
        if (!o.delta_.is_zero()) {
            delta_ += o.delta_;
        }
        return *this;
    }
    DNumber& operator-=(const DNumber& o)
    {
        if ((inf_ | o.inf_) != 0) [[unlikely]] {
            add_infinity(o);
            return *this;
        }
        real_ -= o.real_;
        if (!o.delta_.is_zero()) {
            delta_ -= o.delta_;
        }
        return *this;
    }
    friend DNumber operator+(DNumber a, const DNumber& b)
    {
        a += b;
        return a;
    }
    friend DNumber operator-(DNumber a, const DNumber& b)
    {
        a -= b;
        return a;
    }
    /// Adds factor * o; both numbers are finite.
    void add_mult(const DNumber& o, const QNumber& factor);
    /// An infinity stays what it is, whatever the sign of the factor: a caller that wants the other
    /// one says so.
    DNumber& operator*=(const QNumber& factor);
    friend DNumber operator*(DNumber a, const QNumber& factor)
    {
        a *= factor;
        return a;
    }
    /// Divides by a number other than 0.
    DNumber& operator/=(const QNumber& divisor);

    /// The greatest integer that is not above the number, which is finite.
    QNumber floor() const;
    /// The least integer that is not below the number, which is finite.
    QNumber ceil() const;

    /// -1, 0 or 1. Real part first, then delta part; minus_inf below and plus_inf above all others.
    friend int cmp(const DNumber& a, const DNumber& b)
    {
        if ((a.inf_ | b.inf_) != 0) [[unlikely]] {
            return (a.inf_ > b.inf_) - (a.inf_ < b.inf_);
        }
        if (a.real_ == b.real_) {
            return a.delta_ == b.delta_ ? 0 : a.delta_ < b.delta_ ? -1 : 1;
        }
        return a.real_ < b.real_ ? -1 : 1;
    }
    friend bool operator==(const DNumber& a, const DNumber& b)
    {
        return a.inf_ == b.inf_ && a.real_ == b.real_ && a.delta_ == b.delta_;
    }
    friend bool operator<(const DNumber& a, const DNumber& b) { return cmp(a, b) < 0; }
    friend bool operator>(const DNumber& a, const DNumber& b) { return cmp(a, b) > 0; }
    friend bool operator<=(const DNumber& a, const DNumber& b) { return cmp(a, b) <= 0; }
    friend bool operator>=(const DNumber& a, const DNumber& b) { return cmp(a, b) >= 0; }

    /// "real", "real+delta*d" in the form "(real,delta)", "-inf" or "+inf".
    std::string to_str() const;

private:
    constexpr explicit DNumber(int infinity) noexcept : inf_(infinity) {}
    void add_infinity(const DNumber& o);

    QNumber real_;
    QNumber delta_;
    int inf_ = 0; // -1, 0 or 1
};

} // namespace tarq::la
