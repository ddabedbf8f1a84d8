// The texts of QNumber.
#include "terms/numbers.h"

#include "terms/numberparts.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <sstream>

namespace tarq {

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
